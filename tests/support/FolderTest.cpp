#include "support/FolderTest.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

void FolderTest::SetUp() {
    old_folder_ = fs::current_path();
    std::string name = (fs::temp_directory_path() / "kiv_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    folder_ = name;
    fs::current_path(folder_);
}

void FolderTest::TearDown() {
    fs::current_path(old_folder_);
    if (!folder_.empty()) fs::remove_all(folder_);
}

std::string FolderTest::ReadText(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file) text << file.rdbuf();
    return text.str();
}

void FolderTest::WriteText(const fs::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
