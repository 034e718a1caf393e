// Fixture of the tests over the shipped examples: they work on copies in the test's own folder.
#pragma once

#include <filesystem>
#include <string>

#include "input/InputParm.h"
#include "run/KivCore.h"
#include "run/KivRecord.h"
#include "run/KivRun.h"
#include "support/KivTest.h"

class ExampleTest : public KivTest {
  protected:
    void TearDown() override {
        KivCoreFree();
        KivTest::TearDown();
    }

    /// Copies every file of examples/<folder> into the working folder.
    static void CopyExample(const std::string& folder) {
        std::filesystem::copy(std::filesystem::path(KIV_SOURCE_DIR) / "examples" / folder, ".");
    }

    /// Reads `file` into the run record, without a word on the console.
    static void ReadInput(const std::string& file) {
        Kiv.Inp_Flnm = file;
        testing::internal::CaptureStdout();
        const int read = KivReadInputParm(Kiv);
        const std::string console = testing::internal::GetCapturedStdout();
        ASSERT_EQ(read, 1) << console;
    }

    /// Runs what the record holds, files included.
    static void Run() {
        testing::internal::CaptureStdout();
        const int ran = KivRun();
        const std::string console = testing::internal::GetCapturedStdout();
        ASSERT_EQ(ran, 1) << console;
    }

    /// The program on `file`, from a fresh record to the released one.
    static void RunProgram(std::string file) {
        Kiv = KivRecord{};
        std::string name = "kiv";
        char* argv[] = {name.data(), file.data(), nullptr};
        testing::internal::CaptureStdout();
        const int status = KivMain(2, argv);
        const std::string console = testing::internal::GetCapturedStdout();
        ASSERT_EQ(status, 0) << console;
    }
};
