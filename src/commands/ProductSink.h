// Where a large product goes while it is made: standard output or the file of -o.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

#include "commands/Request.h"
#include "commands/Terminal.h"
#include "kiv/error.h"
#include "kiv/sink.h"
#include "system/OutputSet.h"
#include "system/TextFile.h"

namespace kiv {

class ProductSink final : public Sink {
  public:
    ProductSink(const Request& request, Terminal& terminal) : terminal_(terminal) {
        if (!request.output || *request.output == kStandardInput) return;
        to_file_ = true;
        file_ = outputs_.Open(*request.output);
    }

    void Put(const void* data, std::size_t bytes) override {
        if (file_) {
            file_->Put(data, bytes);
        } else if (!to_file_ && status_) {
            status_ = terminal_.PutResult({static_cast<const char*>(data), bytes});
        }
    }

    void Expect(std::size_t bytes) override {
        if (file_) file_->Expect(bytes);
    }

    bool ok() const override { return to_file_ ? file_ && file_->ok() : status_.ok(); }

    /// Puts the file into its place; without it there is no file. `meanwhile` is what OutputSet
    /// makes of it, and is not called for standard output. CannotWrite.
    Status Keep(Threads* threads = nullptr, const std::function<void()>& meanwhile = {}) {
        return to_file_ ? outputs_.Keep(threads, meanwhile) : status_;
    }

  private:
    Terminal& terminal_;
    OutputSet outputs_;
    bool to_file_ = false;
    Sink* file_ = nullptr;  // null: it cannot be written
    Status status_;         // of standard output
};

}  // namespace kiv
