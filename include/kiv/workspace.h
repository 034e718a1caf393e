// What outlives a call but is no result: the account of its memory and its scratch.
#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

#include "kiv/array.h"

namespace kiv {

/// Scratch of one thread's calculations, kept between them so that later ones find it sized. Any
/// calculation may use any workspace; what it holds never changes a result.
class Workspace {
  public:
    Workspace() = default;
    explicit Workspace(Memory memory) : memory_(std::move(memory)) {}
    Workspace(Workspace&&) = default;  // a copy would share the scratch
    Workspace& operator=(Workspace&&) = default;

    const Memory& memory() const { return memory_; }

    enum class Slot : std::size_t { Levels, Lines, Pass, Count };

    /// The part of a layer, made when it is first asked for. T is the type of that slot.
    template <class T>
    T& Part(Slot slot) {
        std::shared_ptr<void>& part = parts_[static_cast<std::size_t>(slot)];
        if (!part) part = std::make_shared<T>();
        return *static_cast<T*>(part.get());
    }

  private:
    Memory memory_;
    std::array<std::shared_ptr<void>, static_cast<std::size_t>(Slot::Count)> parts_;
};

}  // namespace kiv
