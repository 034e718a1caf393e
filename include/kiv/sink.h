// Where a file is written to.
#pragma once

#include <cstddef>
#include <string>

namespace kiv {

/// Takes the bytes of one file, in order.
class Sink {
  public:
    virtual ~Sink() = default;

    /// Appends `bytes` bytes. A sink that has failed takes them and drops them.
    virtual void Put(const void* data, std::size_t bytes) = 0;

    /// Announces the size of the file, which may be an estimate.
    virtual void Expect(std::size_t /*bytes*/) {}

    /// False when something was not written.
    virtual bool ok() const { return true; }
};

/// A file as a text in memory.
class StringSink : public Sink {
  public:
    void Put(const void* data, std::size_t bytes) override {
        text_.append(static_cast<const char*>(data), bytes);
    }

    const std::string& text() const { return text_; }

  private:
    std::string text_;
};

}  // namespace kiv
