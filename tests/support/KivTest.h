// Fixture of every test: a fresh run record, no pauses, no answers, a private working folder.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

class KivTest : public testing::Test {
  public:
    void SetUp() override;
    void TearDown() override;

  protected:
    /// Pauses asked for so far, in seconds.
    static std::vector<int>& Waits();

    /// What the user would type at the prompts.
    static void SetAnswers(const std::string& text);

    /// Opens the log in memory; LogText() returns what was written since.
    void OpenLog();
    std::string LogText();

    /// Text of a file of the working folder, "" when there is none.
    static std::string ReadText(const std::filesystem::path& path);
    static void WriteText(const std::filesystem::path& path, const std::string& text);

  private:
    std::filesystem::path Old_Folder;
    std::filesystem::path Folder;
};
