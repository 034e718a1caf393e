// Files whose blocks are made on several threads.
#include "base/BlockFile.h"

#include <gtest/gtest.h>

#include <chrono>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace kiv {
namespace {

// Blocks "0;", "1;", ..., some of which take longer than others; one of them may fail.
class Counted : public BlockFile {
  public:
    Counted(Sink& sink, int blocks, int threads, int failing = -1)
        : BlockFile(sink),
          blocks_(blocks),
          failing_(failing),
          texts_(static_cast<std::size_t>(threads)) {}

    int blocks() const override { return blocks_; }

    std::span<const char> Make(int block, int thread) override {
        if (block % 5 == 0) std::this_thread::sleep_for(std::chrono::microseconds(50));
        if (block == failing_) throw std::runtime_error("a block");
        std::string& text = texts_[static_cast<std::size_t>(thread)];
        text = std::to_string(block) + ";";
        return text;
    }

    static std::string Whole(int blocks) {
        std::string text;
        for (int i = 0; i < blocks; ++i) text += std::to_string(i) + ";";
        return text;
    }

  private:
    int blocks_, failing_;
    std::vector<std::string> texts_;
};

class ThrowingSink : public Sink {
  public:
    void Put(const void*, std::size_t) override {
        if (++puts_ == 3) throw std::runtime_error("a sink");
    }

  private:
    int puts_ = 0;
};

TEST(ThreadsOfBlockFiles, KeepTheOrderOfEachFile) {
    for (const int num : {1, 2, 3, 7}) {
        Threads threads(num);
        StringSink sinks[3];
        Counted empty(sinks[0], 0, num), few(sinks[1], 7, num), many(sinks[2], 200, num);
        BlockFile* const files[] = {&empty, &few, &many};
        WriteBlocks(files, threads);
        EXPECT_EQ(sinks[0].text(), "");
        EXPECT_EQ(sinks[1].text(), Counted::Whole(7));
        EXPECT_EQ(sinks[2].text(), Counted::Whole(200));
        WriteBlocks({}, threads);
    }
}

// Nobody waits for ever behind a block that is not made or not taken.
TEST(ThreadsOfBlockFiles, PassOnWhatAMakerOrASinkThrows) {
    for (const int num : {1, 2, 7}) {
        Threads threads(num);
        StringSink text;
        ThrowingSink throwing;
        Counted whole(text, 100, num);
        for (const int failing : {0, 20, 99}) {
            StringSink other;
            Counted broken(other, 100, num, failing);
            BlockFile* const files[] = {&whole, &broken};
            EXPECT_THROW(WriteBlocks(files, threads), std::runtime_error);
        }
        Counted refused(throwing, 100, num);
        BlockFile* const files[] = {&whole, &refused};
        EXPECT_THROW(WriteBlocks(files, threads), std::runtime_error);
    }
}

}  // namespace
}  // namespace kiv
