#include "job/OldAlign.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string_view>

namespace kiv {
namespace {

// Costs. A wrong number of words costs more than an unsuitable word, and a whole record that
// would fit elsewhere more than its title.
constexpr int kIndel = 12;  // a missing or a surplus word
constexpr int kUnsuitable = 6;
constexpr int kNear = 3;    // wrong, but meant for its place
constexpr int kTitle = -4;  // a record behind its comment line
constexpr int kLine = -1;   // a record at the beginning of a line

// Missing words of which comment lines may tell in a file whose words suit one after the other.
constexpr std::ptrdiff_t kMostHidden = 2;

// Words that are looked at: so many times the cells. What stands behind them is surplus.
constexpr std::size_t kMostWords = 4;

class Aligner {
  public:
    Aligner(const std::vector<OldRecord>& records, const std::vector<OldWord>& words,
            bool has_tails)
        : words_(words), has_tails_(has_tails) {
        for (const OldRecord& record : records) {
            for (const OldCell& cell : record.cells) {
                const bool is_first = &cell == &record.cells.front();
                const bool is_last = &cell == &record.cells.back();
                cells_.push_back({&cell, is_first ? &record : nullptr, is_last});
            }
        }
        num_words_ = std::min(words.size(), kMostWords * cells_.size());
    }

    OldAlignment Find() {
        const bool suits = SuitsAsItStands();
        const bool has_all = words_.size() == cells_.size();
        if (suits && has_all && has_tails_ && TitlesAgree()) return AsItStands();
        FillMisfits();
        line_ = suits && has_all ? 0 : kLine;
        FillCosts();
        OldAlignment best = Trace();
        const auto& word_of = best.word_of;
        const auto missing = std::count(word_of.begin(), word_of.end(), std::nullopt);
        if (suits && missing > kMostHidden) best = AsItStands();
        for (std::size_t i = num_words_; i < words_.size(); ++i) best.surplus.push_back(i);
        return best;
    }

  private:
    struct CellPlace {
        const OldCell* cell;
        const OldRecord* begins;  // the record whose first cell it is
        bool ends;
    };

    static bool Announces(const OldComment& comment, const OldRecord* record) {
        return record && std::find(record->titles.begin(), record->titles.end(), comment.title) !=
                             record->titles.end();
    }

    // By word, kind of cell and whether a comment may stand behind it.
    int& Misfit(std::size_t word, OldKind kind, bool has_tail) {
        return misfits_[(word * kNumOldKinds + static_cast<std::size_t>(kind)) * 2 +
                        (has_tail ? 1 : 0)];
    }

    int Misfit(std::size_t word, std::size_t cell) {
        return Misfit(word, cells_[cell].cell->kind, has_tails_ && cells_[cell].ends);
    }

    void FillMisfits() {
        misfits_.resize(num_words_ * kNumOldKinds * 2);
        for (std::size_t i = 0; i < num_words_; ++i) {
            for (std::size_t kind = 0; kind < kNumOldKinds; ++kind) {
                for (const bool has_tail : {false, true}) {
                    const OldCell cell{static_cast<OldKind>(kind), "", {}};
                    Misfit(i, cell.kind, has_tail) = MisfitOf(words_[i].text, cell, has_tail);
                }
            }
        }
    }

    static int MisfitOf(std::string_view word, const OldCell& cell, bool has_tail) {
        const OldFault fault = CheckWord(word, cell, has_tail);
        if (fault.is_wrong) return fault.is_near ? kNear : kUnsuitable;
        const bool is_number = word.find_first_not_of("0123456789+-.eE") == word.npos;
        return cell.kind == OldKind::Name && is_number ? kNear : 0;
    }

    // What speaks for a word as the first one of a record.
    int Evidence(std::size_t word, std::size_t cell) const {
        const OldRecord* const record = cells_[cell].begins;
        if (!record) return 0;
        const auto& comments = words_[word].comments;
        const bool has_title =
            std::any_of(comments.begin(), comments.end(),
                        [&](const OldComment& comment) { return Announces(comment, record); });
        return (has_title ? kTitle : 0) + (words_[word].begins_line ? line_ : 0);
    }

    bool SuitsAsItStands() const {
        if (num_words_ < cells_.size()) return false;
        for (std::size_t i = 0; i < cells_.size(); ++i) {
            const bool has_tail = has_tails_ && cells_[i].ends;
            if (CheckWord(words_[i].text, *cells_[i].cell, has_tail).is_wrong) return false;
        }
        return true;
    }

    // True when every comment line that announces a record stands in front of one that it may
    // announce.
    bool TitlesAgree() const {
        const auto is_title = [&](const OldComment& comment) {
            return std::any_of(cells_.begin(), cells_.end(), [&](const CellPlace& cell) {
                return Announces(comment, cell.begins);
            });
        };
        for (std::size_t i = 0; i < cells_.size(); ++i) {
            for (const OldComment& comment : words_[i].comments) {
                if (!Announces(comment, cells_[i].begins) && is_title(comment)) return false;
            }
        }
        return true;
    }

    // cost(i, j): the least cost of words i.. on cells j..
    void FillCosts() {
        const std::size_t N = num_words_, M = cells_.size();
        costs_.assign((N + 1) * (M + 1), 0);
        for (std::size_t j = 0; j < M; ++j) Cost(N, j) = kIndel * static_cast<int>(M - j);
        for (std::size_t i = N; i-- > 0;) {
            Cost(i, M) = kIndel * static_cast<int>(N - i);
            for (std::size_t j = M; j-- > 0;) {
                Cost(i, j) =
                    std::min({Matched(i, j), Cost(i, j + 1) + kIndel, Cost(i + 1, j) + kIndel});
            }
        }
    }

    int& Cost(std::size_t i, std::size_t j) { return costs_[i * (cells_.size() + 1) + j]; }

    int Matched(std::size_t i, std::size_t j) {
        return Cost(i + 1, j + 1) + Misfit(i, j) + Evidence(i, j);
    }

    // Where several ways cost the same, words are missing or left over as late as possible.
    OldAlignment Trace() {
        OldAlignment path;
        path.cost = Cost(0, 0);
        const std::size_t N = num_words_, M = cells_.size();
        path.word_of.resize(M);
        std::size_t i = 0, j = 0;
        while (i < N && j < M) {
            if (Cost(i, j) == Matched(i, j)) {
                path.word_of[j++] = i++;
            } else if (Cost(i, j) == Cost(i, j + 1) + kIndel) {
                ++j;
            } else {
                path.surplus.push_back(i++);
            }
        }
        for (; i < N; ++i) path.surplus.push_back(i);
        return path;
    }

    OldAlignment AsItStands() const {
        OldAlignment path;
        for (std::size_t i = 0; i < cells_.size(); ++i) path.word_of.emplace_back(i);
        for (std::size_t i = cells_.size(); i < num_words_; ++i) path.surplus.push_back(i);
        return path;
    }

    const std::vector<OldWord>& words_;
    bool has_tails_;
    std::vector<CellPlace> cells_;
    std::size_t num_words_ = 0;
    int line_ = kLine;
    std::vector<int> costs_, misfits_;
};

}  // namespace

OldAlignment Align(const std::vector<OldRecord>& records, const std::vector<OldWord>& words,
                   bool has_tails) {
    return Aligner(records, words, has_tails).Find();
}

}  // namespace kiv
