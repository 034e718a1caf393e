// Both files of a list on threads, against each written by itself.
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "kiv/files.h"
#include "support/Rotor.h"

namespace kiv {
namespace {

class ThreadsOfLineFiles : public testing::Test {
  protected:
    // All lines of a rotor, the tenth of them observed: enough to be worth threads.
    void SetUp() override {
        model_.lower() = StdRotor();
        model_.one_state = true;
        model_.moment = Moment::FromPercent({100.0, 100.0, 0.0});
        Report silent;
        Workspace work;
        Result<Levels> levels = SolveLevels(model_.lower(), 33, work);
        ASSERT_TRUE(levels.ok());
        levels_ = std::move(levels).value();
        file_.temperatures[0] = 0.0;
        file_.moment_percent = {100.0, 100.0, 0.0};
        ASSERT_GT(Lines(work).size, 30000);
        num_assigned_ = 3000;
    }

    LineList Lines(Workspace& work) {
        Report silent;
        LineRules rules;
        rules.temperature = 0.0;
        Result<LineList> made =
            ComputeLines(model_, levels_, levels_, rules, nullptr, LineChoice::All, work, silent);
        LineList lines = made.ok() ? std::move(made).value() : LineList();
        lines.matched = num_assigned_;
        if (num_assigned_ == 0) return lines;
        EXPECT_TRUE(lines.match_line.Take(work.memory(), num_assigned_) &&
                    lines.match_assignment.Take(work.memory(), num_assigned_) &&
                    assignments_.frequency.Take(work.memory(), num_assigned_) &&
                    assignments_.uncertainty.Take(work.memory(), num_assigned_));
        assignments_.size = assignments_.split = num_assigned_;
        for (int k = 0; k < num_assigned_; ++k) {
            const auto n = static_cast<std::size_t>(k);
            lines.match_line[n] = 10 * k;
            lines.match_assignment[n] = num_assigned_ - 1 - k;
            assignments_.frequency[n] = 100.0 + k;
            assignments_.uncertainty[n] = 0.5 * k;
        }
        return lines;
    }

    LineSource Source() const { return {levels_, levels_, &assignments_}; }

    LineSetHeader Header(const LineList& lines) const {
        return HeaderOf(file_, model_, lines, &assignments_);
    }

    Model model_;
    Levels levels_;
    InputFile file_;
    Assignments assignments_;
    std::int32_t num_assigned_ = 0;
};

TEST_F(ThreadsOfLineFiles, WriteTheSameBytes) {
    for (const int assigned : {0, 3000}) {
        num_assigned_ = assigned;
        Workspace alone;
        StringSink set, list;
        LineList lines = Lines(alone);
        const LineSetHeader header = Header(lines);
        const auto sorted = WriteLineSet(set, header, std::move(lines), Source(), alone.memory());
        ASSERT_TRUE(sorted.ok());
        WriteLineList(list, header, sorted.value(), levels_, alone.memory());
        for (const int num : {1, 2, 3, 7}) {
            Workspace work(Memory(), num);
            StringSink set_here, list_here, only_list;
            ASSERT_TRUE(
                WriteLineFiles({&set_here, &list_here}, header, Lines(work), Source(), work).ok());
            EXPECT_TRUE(set_here.text() == set.text()) << num;
            EXPECT_TRUE(list_here.text() == list.text()) << num;
            const auto again =
                WriteLineFiles({nullptr, &only_list}, header, Lines(work), Source(), work);
            ASSERT_TRUE(again.ok());
            EXPECT_TRUE(only_list.text() == list.text()) << num;
            const auto n = static_cast<std::size_t>(again.value().lines.size);
            const auto &a = sorted.value().lines, &b = again.value().lines;
            EXPECT_TRUE(std::equal(a.upper_level.begin(), a.upper_level.begin() + n,
                                   b.upper_level.begin()));
        }
    }
}

// With less memory the files are the same or there is an error, the same one on any threads.
TEST_F(ThreadsOfLineFiles, SayWhichArrayIsRefused) {
    Workspace whole(Memory(), 2);
    StringSink set, list;
    const LineSetHeader header = Header(Lines(whole));
    ASSERT_TRUE(WriteLineFiles({&set, &list}, header, Lines(whole), Source(), whole).ok());
    int refused = 0;
    for (std::int64_t granted = 0; granted < 25; ++granted) {
        std::string subject;
        for (const int num : {2, 3}) {
            Memory memory;
            Workspace work(memory, num);
            LineList lines = Lines(work);
            memory.RefuseAfter(granted);
            StringSink set_here, list_here;
            const auto sorted =
                WriteLineFiles({&set_here, &list_here}, header, std::move(lines), Source(), work);
            if (sorted) {
                EXPECT_TRUE(set_here.text() == set.text() && list_here.text() == list.text());
                continue;
            }
            ++refused;
            EXPECT_EQ(sorted.error().code, ErrorCode::NoMemory);
            EXPECT_FALSE(sorted.error().subject.empty());
            EXPECT_TRUE(subject.empty() || subject == sorted.error().subject) << subject;
            subject = sorted.error().subject;
        }
    }
    EXPECT_GT(refused, 10);
}

// A sink that failed drops the rest; the other file is whole.
TEST_F(ThreadsOfLineFiles, GoOnWhenASinkFails) {
    class FullSink : public Sink {
      public:
        void Put(const void*, std::size_t bytes) override { room_ -= static_cast<long>(bytes); }
        bool ok() const override { return room_ >= 0; }

      private:
        long room_ = 100000;
    };
    Workspace work(Memory(), 2);
    FullSink full;
    StringSink set, list, list_here;
    const LineSetHeader header = Header(Lines(work));
    ASSERT_TRUE(WriteLineFiles({&set, &list}, header, Lines(work), Source(), work).ok());
    ASSERT_TRUE(WriteLineFiles({&full, &list_here}, header, Lines(work), Source(), work).ok());
    EXPECT_FALSE(full.ok());
    EXPECT_TRUE(list_here.text() == list.text());
}

}  // namespace
}  // namespace kiv
