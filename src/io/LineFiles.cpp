// Both files of a list of lines.
#include <memory>
#include <utility>
#include <vector>

#include "io/LineFileBlocks.h"
#include "io/LineSorter.h"
#include "kiv/files.h"

namespace kiv {
namespace {

constexpr std::int32_t kFewLines = 2000;  // take less time than threads are worth

Result<SortedLines> WriteInTurn(const LineFiles& files, const LineSetHeader& header, LineList lines,
                                const LineSource& source, const Memory& memory) {
    Result<SortedLines> sorted =
        files.line_set ? WriteLineSet(*files.line_set, header, std::move(lines), source, memory)
                       : SortLines(std::move(lines), source.assignments, memory);
    if (sorted && files.line_list) {
        WriteLineList(*files.line_list, header, sorted.value(), source.lower, memory);
    }
    return sorted;
}

}  // namespace

Result<SortedLines> SortLines(LineList lines, const Assignments* assignments,
                              const Memory& memory) {
    LineSorter sorter(std::move(lines), assignments, memory);
    KIV_TRY(sorter.SortAll());
    return std::move(sorter).Take();
}

Result<SortedLines> WriteLineFiles(const LineFiles& files, const LineSetHeader& header,
                                   LineList lines, const LineSource& source, Workspace& work) {
    Threads& threads = work.threads();
    const Memory& memory = work.memory();
    if (threads.num() == 1 || lines.size < kFewLines) {
        return WriteInTurn(files, header, std::move(lines), source, memory);
    }
    LineSorter sorter(std::move(lines), source.assignments, memory, &threads);
    KIV_TRY(sorter.SortAll());
    std::unique_ptr<BlockFile> line_set, line_list;
    if (files.line_set) {
        auto cut = CutLineSet(*files.line_set, header, sorter, source, threads.num());
        if (!cut) return cut.error();
        line_set = std::move(cut).value();
    }
    if (files.line_list) {
        line_list = CutLineList(*files.line_list, header, sorter.lines(), sorter.observed(),
                                source.lower, memory, threads.num());
    }
    std::vector<BlockFile*> blocks;
    for (BlockFile* const file : {line_set.get(), line_list.get()}) {
        if (file) blocks.push_back(file);
    }
    WriteBlocks(blocks, threads);
    return std::move(sorter).Take();
}

}  // namespace kiv
