#include <string>

#include "named/NumberText.h"
#include "products/LineTexts.h"

namespace kiv {

void WritePartitionTable(Sink& sink, std::span<const PartitionRow> rows) {
    std::string text = "temperature,Q,J\n";
    for (const PartitionRow& row : rows) {
        text += ShortestText(row.temperature) + "," + ShortestText(row.Q) + "," +
                std::to_string(row.J) + "\n";
    }
    sink.Put(text.data(), text.size());
}

}  // namespace kiv
