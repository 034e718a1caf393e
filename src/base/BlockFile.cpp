#include "base/BlockFile.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <mutex>
#include <vector>

namespace kiv {
namespace {

// Lets the blocks of a file pass in their order.
class Queue {
  public:
    void WaitFor(int block) {
        std::unique_lock lock(mutex_);
        moved_.wait(lock, [&] { return next_ == block; });
    }

    void Pass() {
        {
            const std::lock_guard lock(mutex_);
            ++next_;
        }
        moved_.notify_all();
    }

  private:
    std::mutex mutex_;
    std::condition_variable moved_;
    int next_ = 0;
};

// A block's place in the queue, which it leaves in its turn even when it could not be made: others
// wait behind it.
class Place {
  public:
    Place(Queue& queue, int block) : queue_(queue), block_(block) {}
    ~Place() {
        WaitForTurn();
        queue_.Pass();
    }
    Place(const Place&) = delete;
    Place& operator=(const Place&) = delete;

    void WaitForTurn() { queue_.WaitFor(block_); }

  private:
    Queue& queue_;
    int block_;
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

// Blocks start in the order of the parts, so that one that has its turn has already started.
void WriteBlocks(std::span<BlockFile* const> files, Threads& threads) {
    if (threads.num() == 1) {
        for (BlockFile* const file : files) WriteAlone(*file);
        return;
    }
    const std::vector<Part> parts = PartsOf(files);
    std::deque<Queue> queues(files.size());
    threads.Share(static_cast<int>(parts.size()), [&](int i, int thread) {
        const auto [index, block] = parts[static_cast<std::size_t>(i)];
        BlockFile& file = *files[index];
        Place place(queues[index], block);
        const std::span<const char> bytes = file.Make(block, thread);
        place.WaitForTurn();
        file.sink().Put(bytes.data(), bytes.size());
    });
}

}  // namespace kiv
