// Fixture of tests that work with files: a private working folder for each test.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

class FolderTest : public testing::Test {
  public:
    void SetUp() override;
    void TearDown() override;

  protected:
    /// Text of a file, "" when there is none.
    static std::string ReadText(const std::filesystem::path& path);
    static void WriteText(const std::filesystem::path& path, const std::string& text);

  private:
    std::filesystem::path old_folder_;
    std::filesystem::path folder_;
};
