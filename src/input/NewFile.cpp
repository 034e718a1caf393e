#include "input/NewFile.h"

#include <filesystem>
#include <system_error>

namespace fs = std::filesystem;

namespace {

constexpr int kMaxTemp = 100;  // temporary names tried; others are left over from broken-off runs

// The file behind a symbolic link; other names as they are.
std::string TargetOf(const std::string& name) {
    std::error_code error;
    const fs::path target = fs::canonical(name, error);
    return error ? name : target.string();
}

bool Exists(const std::string& name) {
    std::error_code error;
    return fs::exists(name, error);
}

bool CanWrite(const std::string& name) {
    std::FILE* const file = std::fopen(name.c_str(), "r+b");
    return file && std::fclose(file) == 0;
}

bool Rename(const std::string& from, const std::string& to) {
    std::error_code error;
    fs::rename(from, to, error);
    return !error;
}

bool Remove(const std::string& name) {
    std::error_code error;
    return fs::remove(name, error);
}

// Creates a file that did not exist, named after `target`; `name` is then its name.
std::FILE* CreateBeside(const std::string& target, std::string& name) {
    for (int n = 0; n < kMaxTemp; ++n) {
        name = target + ".tmp" + (n > 0 ? std::to_string(n) : "");
        std::FILE* const file = std::fopen(name.c_str(), "wx");
        if (file || !Exists(name)) return file;
    }
    return nullptr;
}

// For a file of another file system: a copy beside the target, which can then be renamed.
bool CopyOver(const std::string& made, const std::string& target) {
    std::string beside;
    std::FILE* const file = CreateBeside(target, beside);
    if (!file) return false;
    std::fclose(file);
    std::error_code error;
    fs::copy_file(made, beside, fs::copy_options::overwrite_existing, error);
    if (!error && Rename(beside, target)) return Remove(made);
    Remove(beside);
    return false;
}

}  // namespace

bool ReplaceFile(const std::string& made, const std::string& name) {
    const std::string target = TargetOf(name);
    std::error_code error;
    const fs::file_status old = fs::status(target, error);
    if (fs::exists(old)) {
        if (!CanWrite(target)) return false;
        fs::permissions(made, old.permissions(), error);
    }
    return Rename(made, target) || CopyOver(made, target);
}

NewFile::NewFile(const std::string& name) : Name(TargetOf(name)) {
    if (!Exists(Name)) {
        File = CreateBeside(Name, Temp);
        return;
    }
    std::error_code error;
    if (!fs::is_regular_file(Name, error)) {
        File = std::fopen(Name.c_str(), "w");
    } else if (CanWrite(Name)) {
        File = CreateBeside(Name, Temp);
    }
}

bool NewFile::Close() {
    const bool written = std::fflush(File) == 0 && std::ferror(File) == 0;
    const bool closed = std::fclose(File) == 0;
    File = nullptr;
    return written && closed;
}

bool NewFile::Keep() {
    if (!Close()) return false;
    if (Temp.empty()) return true;
    if (!ReplaceFile(Temp, Name)) return false;
    Temp.clear();
    return true;
}

NewFile::~NewFile() {
    if (File) Close();
    if (!Temp.empty()) Remove(Temp);
}
