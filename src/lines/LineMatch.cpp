#include "lines/LineMatch.h"

namespace kiv {

LineMatch::LineMatch(const AssignedSet& set, LineList& list, Trace* trace)
    : set_(set), list_(list), trace_(trace) {
    list_.matched = list_.missing = 0;
}

bool LineMatch::HasUpTo(std::uint64_t key) const {
    return cursor_ < set_.key.size() && set_.key[cursor_] <= key;
}

void LineMatch::TellBefore(std::uint64_t key) {
    while (cursor_ < set_.key.size() && set_.key[cursor_] < key) TellMissing(cursor_++);
}

bool LineMatch::MatchesNext(std::uint64_t key) {
    TellBefore(key);
    if (cursor_ >= set_.key.size() || set_.key[cursor_] != key) return false;
    ++cursor_;
    return true;
}

void LineMatch::Keep(std::int32_t line) {
    const auto k = static_cast<std::size_t>(list_.matched);
    if (k >= list_.match_line.size()) return;
    list_.match_line[k] = line;
    list_.match_assignment[k] = NumberOf(cursor_ - 1);
    ++list_.matched;
}

void LineMatch::TellMissing(std::size_t place) {
    if (trace_) trace_->MissingLine(NumberOf(place), set_.frequency[place]);
    ++list_.missing;
}

void LineMatch::Finish() { list_.missing += static_cast<std::int32_t>(set_.key.size() - cursor_); }

}  // namespace kiv
