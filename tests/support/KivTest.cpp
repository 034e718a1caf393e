#include "support/KivTest.h"

#include <cstdio>
#include <fstream>
#include <sstream>

#include "run/KivRecord.h"
#include "run/KivServices.h"

namespace {

std::vector<int> Wait_List;
std::istringstream Answers;
std::FILE* Log_File = nullptr;

void NoteWait(int seconds) { Wait_List.push_back(seconds); }

int AnswerChar() { return Answers.get(); }

bool AnswerNumber(double& value) { return static_cast<bool>(Answers >> value); }

}  // namespace

void KivTest::SetUp() {
    Kiv = KivRecord{};
    ArrRefuse(-1);
    Services = {NoteWait, AnswerChar, AnswerNumber};
    Wait_List.clear();
    SetAnswers("");
    Old_Folder = std::filesystem::current_path();
    std::string name = (std::filesystem::temp_directory_path() / "kiv_test_XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    Folder = name;
    std::filesystem::current_path(Folder);
}

void KivTest::TearDown() {
    ArrRefuse(-1);
    if (Log_File) std::fclose(Log_File);
    Log_File = nullptr;
    Kiv = KivRecord{};
    std::filesystem::current_path(Old_Folder);
    std::filesystem::remove_all(Folder);
}

std::vector<int>& KivTest::Waits() { return Wait_List; }

void KivTest::SetAnswers(const std::string& text) {
    Answers.clear();
    Answers.str(text);
}

void KivTest::OpenLog() {
    Log_File = std::tmpfile();
    ASSERT_NE(Log_File, nullptr);
    Kiv.Log_Fp = Log_File;
    Kiv.Log_On = 1;
}

std::string KivTest::LogText() {
    std::string text;
    std::rewind(Log_File);
    for (int c = std::getc(Log_File); c != EOF; c = std::getc(Log_File))
        text += static_cast<char>(c);
    return text;
}

std::string KivTest::ReadText(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (file) text << file.rdbuf();
    return text.str();
}

void KivTest::WriteText(const std::filesystem::path& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}
