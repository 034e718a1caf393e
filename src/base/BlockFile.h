// Files that are made in blocks on several threads and written in order.
#pragma once

#include <span>

#include "kiv/sink.h"
#include "kiv/threads.h"

namespace kiv {

/// A file as a sequence of blocks, each of which can be made without the others.
class BlockFile {
  public:
    explicit BlockFile(Sink& sink) : sink_(sink) {}
    virtual ~BlockFile() = default;
    BlockFile(const BlockFile&) = delete;
    BlockFile& operator=(const BlockFile&) = delete;

    Sink& sink() { return sink_; }

    virtual int blocks() const = 0;

    /// Makes a block on `thread`; the bytes stay until that thread makes its next one. Called at
    /// the same time for different threads.
    virtual std::span<const char> Make(int block, int thread) = 0;

  private:
    Sink& sink_;
};

/// Makes all blocks of some files and puts each file's into its sink in order. The files go side by
/// side, each in proportion to its blocks. A sink is called by one thread at a time, whichever made
/// the block.
void WriteBlocks(std::span<BlockFile* const> files, Threads& threads);

}  // namespace kiv
