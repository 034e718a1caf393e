#include "commands/SpectrumText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <string_view>

#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr std::size_t kFullBlock = std::size_t{1} << 16;
constexpr int kDigits = 9;
constexpr int kMostDecimals = 12;
constexpr std::size_t kRowRoom = 400;  // the largest double has 309 digits before the point

// Text that goes to a sink in large blocks.
class Rows {
  public:
    explicit Rows(Sink& sink, std::string_view header) : sink_(sink), text_(header) {}
    ~Rows() { Put(); }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    template <class... Format>
    void Add(double value, Format... format) {
        char number[kRowRoom];
        const auto end = std::to_chars(number, number + sizeof number, value, format...);
        text_.append(number, end.ptr);
    }
    void AddShort(double value) { Add(value, std::chars_format::general, kDigits); }
    void Add(std::string_view text) { text_ += text; }
    void EndRow() {
        text_ += '\n';
        if (text_.size() >= kFullBlock) Put();
    }

  private:
    void Put() {
        sink_.Put(text_.data(), text_.size());
        text_.clear();
    }

    Sink& sink_;
    std::string text_;
};

// Digits behind the point of a number as it is written.
int DecimalsOf(double value) {
    char text[kRowRoom];
    const auto end = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
    const std::string_view number(text, static_cast<std::size_t>(end.ptr - text));
    const std::size_t point = number.find('.');
    return point == std::string_view::npos ? 0 : static_cast<int>(number.size() - point) - 1;
}

}  // namespace

void WriteSpectrum(Sink& sink, const FrequencyGrid& grid, std::span<const double> intensity) {
    Rows rows(sink, "frequency,intensity\n");
    const int decimals = std::max(DecimalsOf(grid.first), DecimalsOf(grid.step));
    for (std::size_t i = 0; i < intensity.size(); ++i) {
        if (decimals <= kMostDecimals) {
            rows.Add(grid[i], std::chars_format::fixed, decimals);
        } else {
            rows.Add(ShortestText(grid[i]));
        }
        rows.Add(",");
        rows.AddShort(intensity[i]);
        rows.EndRow();
    }
}

void WriteComparison(Sink& sink, const MeasuredPoints& measured, const Comparison& comparison) {
    Rows rows(sink, "frequency,intensity,measured,difference\n");
    for (std::size_t i = 0; i < measured.value.size(); ++i) {
        rows.Add(ShortestText(measured.frequency[i]));
        rows.Add(",");
        rows.AddShort(comparison.calculated[i]);
        rows.Add(",");
        rows.Add(ShortestText(measured.value[i]));
        rows.Add(",");
        rows.AddShort(measured.value[i] - comparison.Fitted(i));
        rows.EndRow();
    }
}

}  // namespace kiv
