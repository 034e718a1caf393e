#include "base/BlockFile.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

namespace kiv {
namespace {

// The blocks of a file on their way into its sink, in order. One that is made before its turn is
// copied, so that its thread can go on: to wait, sleep and be woken takes as long as a block.
class Queue {
  public:
    /// Holds up to `most` blocks; those of others wait.
    Queue(Sink& sink, int most) : sink_(sink), most_held_(most) {}

    void Put(int block, std::span<const char> bytes) {
        std::unique_lock lock(mutex_);
        moved_.wait(lock, [&] { return has_failed_ || block == next_ || num_held_ < most_held_; });
        if (has_failed_) return;
        if (block == next_) {
            Write(bytes, lock);
        } else {
            Hold(block, bytes, lock);
        }
        for (auto held = held_.find(next_); held != held_.end(); held = held_.find(next_)) {
            std::vector<char> text = std::move(held->second);
            held_.erase(held);
            Write(text, lock);
            spare_.push_back(std::move(text));
            --num_held_;
        }
        lock.unlock();
        moved_.notify_all();
    }

    /// A block could not be made: nobody waits for it, and none behind it is written.
    void Fail() {
        {
            const std::lock_guard lock(mutex_);
            has_failed_ = true;
        }
        moved_.notify_all();
    }

  private:
    // The next block, which nobody else has; the others may come meanwhile.
    void Write(std::span<const char> bytes, std::unique_lock<std::mutex>& lock) {
        lock.unlock();
        sink_.Put(bytes.data(), bytes.size());
        lock.lock();
        ++next_;
    }

    void Hold(int block, std::span<const char> bytes, std::unique_lock<std::mutex>& lock) {
        std::vector<char> copy;
        if (!spare_.empty()) {
            copy = std::move(spare_.back());
            spare_.pop_back();
        }
        ++num_held_;
        lock.unlock();
        copy.assign(bytes.begin(), bytes.end());
        lock.lock();
        held_.emplace(block, std::move(copy));
    }

    Sink& sink_;
    const int most_held_;
    std::mutex mutex_;
    std::condition_variable moved_;
    int next_ = 0;
    int num_held_ = 0;
    std::map<int, std::vector<char>> held_;
    std::vector<std::vector<char>> spare_;
    bool has_failed_ = false;
};

struct Part {
    std::size_t file;
    int block;
};

// All blocks, those of a file in order: next is the file of which the smallest share has come.
std::vector<Part> PartsOf(std::span<BlockFile* const> files) {
    std::vector<Part> parts;
    std::vector<int> next(files.size());
    for (;;) {
        std::size_t least = files.size();
        const auto comes_before = [&](std::size_t a, std::size_t b) {
            return (2 * std::int64_t{next[a]} + 1) * files[b]->blocks() <
                   (2 * std::int64_t{next[b]} + 1) * files[a]->blocks();
        };
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (next[i] == files[i]->blocks()) continue;
            if (least == files.size() || comes_before(i, least)) least = i;
        }
        if (least == files.size()) return parts;
        parts.push_back({least, next[least]++});
    }
}

void WriteAlone(BlockFile& file) {
    for (int block = 0; block < file.blocks(); ++block) {
        const std::span<const char> bytes = file.Make(block, 0);
        file.sink().Put(bytes.data(), bytes.size());
    }
}

}  // namespace

// Blocks start in the order of the parts, so that one that others wait for has already started.
void WriteBlocks(std::span<BlockFile* const> files, Threads& threads) {
    if (threads.num() == 1) {
        for (BlockFile* const file : files) WriteAlone(*file);
        return;
    }
    const std::vector<Part> parts = PartsOf(files);
    std::deque<Queue> queues;
    for (BlockFile* const file : files) queues.emplace_back(file->sink(), 2 * threads.num());
    threads.Share(static_cast<int>(parts.size()), [&](int i, int thread) {
        const auto [index, block] = parts[static_cast<std::size_t>(i)];
        Queue& queue = queues[index];
        try {
            queue.Put(block, files[index]->Make(block, thread));
        } catch (...) {
            queue.Fail();
            throw;
        }
    });
}

}  // namespace kiv
