// What outlives a call but is no result: the account of its memory, its threads and its scratch.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include "kiv/array.h"
#include "kiv/threads.h"

namespace kiv {

/// Scratch of a caller's calculations, kept between them so that later ones find it sized, and the
/// threads that they are shared among. Any calculation may use any workspace, one at a time; what
/// it holds never changes a result, nor does the number of threads.
class Workspace {
  public:
    Workspace() = default;
    /// `threads`: those that a calculation is shared among, the caller's included.
    explicit Workspace(Memory memory, int threads = 1)
        : memory_(std::move(memory)), threads_(threads) {}
    Workspace(Workspace&&) = default;  // a copy would share the scratch
    Workspace& operator=(Workspace&&) = default;

    const Memory& memory() const { return memory_; }
    Threads& threads() { return threads_; }

    /// One workspace for each thread, this one first, all on the same account.
    Workspace& OfThread(int thread) {
        return thread == 0 ? *this : *others_[static_cast<std::size_t>(thread) - 1];
    }

    /// Makes OfThread known for all threads. Call before they share a calculation.
    void PrepareThreads() {
        while (static_cast<int>(others_.size()) + 1 < threads_.num()) {
            others_.push_back(std::make_unique<Workspace>(memory_));
        }
    }

    enum class Slot : std::size_t { Levels, Lines, SpareLists, Pass, Count };

    /// The part of a layer, made when it is first asked for. T is the type of that slot.
    template <class T>
    T& Part(Slot slot) {
        std::shared_ptr<void>& part = parts_[static_cast<std::size_t>(slot)];
        if (!part) part = std::make_shared<T>();
        return *static_cast<T*>(part.get());
    }

  private:
    Memory memory_;
    Threads threads_;
    std::array<std::shared_ptr<void>, static_cast<std::size_t>(Slot::Count)> parts_;
    std::vector<std::unique_ptr<Workspace>> others_;
};

}  // namespace kiv
