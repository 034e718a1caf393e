#include "system/OutputSet.h"

#include <cerrno>

#include "system/TextFile.h"

namespace kiv {
namespace {

constexpr std::size_t kLarge = std::size_t{1} << 20;  // bytes; takes longer than to wake a thread

Error CannotWrite(const std::string& name, const WholeFile& file) {
    const int reason = file.reason();
    std::string text = "cannot write " + name;
    if (reason == EEXIST) {
        text += ": there is such a file already";
    } else if (reason != 0) {
        text += ": " + ReasonText(reason);
    }
    return {ErrorCode::CannotWrite, text, name};
}

}  // namespace

Sink* OutputSet::Open(const std::string& name, WholeFile::Kind kind) {
    WholeFile& file = files_.emplace_back();
    names_.push_back(name);
    return file.Open(name, kind) ? &file : nullptr;
}

void OutputSet::Add(const std::string& name, const std::string& text, WholeFile::Kind kind) {
    if (Sink* const file = Open(name, kind)) file->Put(text.data(), text.size());
}

Status OutputSet::Keep(Threads* threads, const std::function<void()>& meanwhile) {
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!files_[i].Complete()) return CannotWrite(names_[i], files_[i]);
    }
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (!files_[i].Place()) return CannotWrite(names_[i], files_[i]);
    }
    std::vector<WholeFile*> large;
    for (WholeFile& file : files_) {
        if (threads && file.has_remains() && file.size() >= kLarge) {
            large.push_back(&file);
        } else {
            file.Tidy();
        }
    }
    if (large.empty()) return {};
    const auto num = static_cast<int>(large.size());
    threads->Share(num + (meanwhile ? 1 : 0), [&](int i, int) {
        i < num ? large[static_cast<std::size_t>(i)]->Tidy() : meanwhile();
    });
    return {};
}

}  // namespace kiv
