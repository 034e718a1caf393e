// Sorting of lines whose keys are made whenever they are wanted, so that nothing but the order
// takes memory.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "kiv/threads.h"
#include "linalg/Sort.h"

namespace kiv {

/// Lines as words: as many high bits of a step, less the least one, as there is room for above the
/// number of the line. Words of different steps are in their order as far as these bits tell.
class WordForm {
  public:
    WordForm() = default;

    /// For steps least..most, of lines 0..lines-1.
    WordForm(std::uint64_t least, std::uint64_t most, std::size_t lines)
        : least_(least), span_(most - least), line_bits_(static_cast<int>(std::bit_width(lines))) {
        constexpr int kWordBits = 64;
        dropped_bits_ = std::max(0, step_bits() + line_bits_ - kWordBits);
    }

    /// The words of so many highest bits of a step are those of a bucket.
    std::size_t BucketOf(std::uint64_t step, int bits) const {
        return static_cast<std::size_t>(Above(step) >> (step_bits() - bits));
    }

    std::uint64_t WordOf(std::uint64_t step, std::size_t line) const {
        return Above(step) >> dropped_bits_ << line_bits_ | line;
    }

    /// The bits of a word that are the number of the line.
    std::uint64_t line_mask() const { return (std::uint64_t{1} << line_bits_) - 1; }

    std::size_t LineOf(std::uint64_t word) const { return word & line_mask(); }

    bool AreEqual(std::uint64_t a, std::uint64_t b) const { return (a ^ b) >> line_bits_ == 0; }

    /// True when words of different steps differ above the number of the line.
    bool has_whole_steps() const { return dropped_bits_ == 0; }

    /// Bits by which steps differ.
    int step_bits() const { return static_cast<int>(std::bit_width(span_)); }

  private:
    // A step outside the limits is taken for the greatest.
    std::uint64_t Above(std::uint64_t step) const { return std::min(step - least_, span_); }

    std::uint64_t least_ = 0, span_ = 0;  // steps
    int line_bits_ = 0;
    int dropped_bits_ = 0;  // of a step
};

/// Makes the words of those lines of a list that are in `Lines`, and brings them into order:
///
///     bool Has(line)                  whether that line is among them
///     std::uint64_t StepOf(line)      roughly where it comes, the more even the faster
///     bool ComesBefore(line, line)    the order, in which steps do not descend
///
/// The lines are counted by the high bits of their steps, two to a bucket where these are even, put
/// into their buckets, and compared with their neighbours. With threads each does so for a range of
/// the list and then for a range of the buckets. There is one order, whatever their number.
template <class Lines>
class WordSort {
  public:
    /// `size`: lines of the list. There are as many words as lines among them.
    WordSort(const Lines& lines, std::size_t size, const WordForm& form,
             std::span<std::uint64_t> words, Threads& threads)
        : lines_(lines), size_(size), form_(form), words_(words), threads_(threads) {
        constexpr int kMostBits = 14;  // as many counters stay near the processor
        const auto wanted = static_cast<int>(std::bit_width(words.size() / 2 | 1));
        bits_ = std::min({wanted, kMostBits, form.step_bits()});
        next_.resize(static_cast<std::size_t>(threads.num()));
        ends_.resize(std::size_t{1} << bits_);
    }

    void Go() {
        Count();
        Place();
        ShareRange(words_.size(), &threads_, [&](std::size_t, std::size_t first, std::size_t last) {
            SortBuckets(BucketFrom(first), BucketFrom(last));
        });
    }

  private:
    using Counts = std::vector<std::uint32_t>;  // by bucket

    // Calls visit(line, step, bucket) for the lines of a range.
    template <class Visit>
    void ForEach(std::size_t first, std::size_t last, const Visit& visit) const {
        const Lines lines = lines_;
        const WordForm form = form_;
        const int bits = bits_;
        for (std::size_t line = first; line < last; ++line) {
            if (!lines.Has(line)) continue;
            const std::uint64_t step = lines.StepOf(line);
            visit(line, step, form.BucketOf(step, bits));
        }
    }

    void Count() {
        ShareRange(size_, &threads_, [&](std::size_t range, std::size_t first, std::size_t last) {
            Counts counts(ends_.size());
            ForEach(first, last,
                    [&](std::size_t, std::uint64_t, std::size_t bucket) { ++counts[bucket]; });
            next_[range] = std::move(counts);
        });
        std::erase_if(next_, [](const Counts& counts) { return counts.empty(); });
    }

    // Those of a bucket come by range of the list.
    void Place() {
        std::uint32_t start = 0;
        for (std::size_t bucket = 0; bucket < ends_.size(); ++bucket) {
            for (Counts& next : next_) start += std::exchange(next[bucket], start);
            ends_[bucket] = start;
        }
        ShareRange(size_, &threads_, [&](std::size_t range, std::size_t first, std::size_t last) {
            Counts& next = next_[range];
            const WordForm form = form_;
            std::uint64_t* const words = words_.data();
            ForEach(first, last, [&](std::size_t line, std::uint64_t step, std::size_t bucket) {
                words[next[bucket]++] = form.WordOf(step, line);
            });
        });
    }

    // The first bucket that begins at `place` or behind it.
    std::size_t BucketFrom(std::size_t place) const {
        if (place == 0) return 0;
        const auto end = std::lower_bound(ends_.begin(), ends_.end(), place);
        return std::min(static_cast<std::size_t>(end - ends_.begin()) + 1, ends_.size());
    }

    std::size_t EndOf(std::size_t bucket) const { return bucket == 0 ? 0 : ends_[bucket - 1]; }

    // Full buckets are sorted first, so that no word is far from its place when neighbours are
    // compared.
    void SortBuckets(std::size_t from, std::size_t to) {
        constexpr std::size_t kFew = 16;
        const std::size_t first = EndOf(from), last = EndOf(to);
        for (std::size_t bucket = from, begin = first; bucket < to; begin = ends_[bucket++]) {
            if (ends_[bucket] - begin > kFew) {
                std::sort(words_.begin() + begin, words_.begin() + ends_[bucket]);
            }
        }
        const std::span<std::uint64_t> words = words_.subspan(first, last - first);
        for (std::size_t i = 1; i < words.size(); ++i) {
            const std::uint64_t word = words[i];
            std::size_t at = i;
            for (; at > 0 && words[at - 1] > word; --at) words[at] = words[at - 1];
            words[at] = word;
        }
        SortRuns(words);
    }

    // Lines whose words do not tell them from each other.
    void SortRuns(std::span<std::uint64_t> words) const {
        const auto comes_before = [&](std::uint64_t a, std::uint64_t b) {
            return lines_.ComesBefore(form_.LineOf(a), form_.LineOf(b));
        };
        for (std::size_t i = 1; i < words.size(); ++i) {
            if (!form_.AreEqual(words[i - 1], words[i])) continue;
            const std::size_t first = i - 1;
            while (i < words.size() && form_.AreEqual(words[first], words[i])) ++i;
            if (i - first > 2) {
                std::sort(words.begin() + first, words.begin() + i, comes_before);
            } else {  // as most are
                const std::uint64_t a = words[first], b = words[first + 1];
                const bool is_swapped = comes_before(b, a);
                words[first] = is_swapped ? b : a;
                words[first + 1] = is_swapped ? a : b;
            }
        }
    }

    const Lines& lines_;
    std::size_t size_;
    WordForm form_;
    std::span<std::uint64_t> words_;
    Threads& threads_;
    int bits_ = 0;              // of a step, which tell its bucket
    std::vector<Counts> next_;  // by range: where the next line of a bucket goes
    Counts ends_;               // of the buckets
};

}  // namespace kiv
