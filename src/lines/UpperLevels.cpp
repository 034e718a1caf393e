#include "lines/UpperLevels.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "base/ArrayName.h"
#include "base/Failure.h"
#include "base/Simd.h"
#include "lines/LineStore.h"

namespace kiv {
namespace {

// Vectors of N components, from_ld apart, to rows of one component each, to_ld apart.
struct TransposeRun {
    int N;
    const double* from;
    std::ptrdiff_t from_ld;
    double* to;
    std::ptrdiff_t to_ld;
};

// Four components of four vectors.
KIV_INLINE void TransposeSquare(const double* from, std::ptrdiff_t from_ld, double* to,
                                std::ptrdiff_t to_ld) {
    Vec4 v0, v1, v2, v3;
    LoadVec(v0, from);
    LoadVec(v1, from + from_ld);
    LoadVec(v2, from + 2 * from_ld);
    LoadVec(v3, from + 3 * from_ld);
    const Vec4 even01 = __builtin_shufflevector(v0, v1, 0, 4, 2, 6);
    const Vec4 odd01 = __builtin_shufflevector(v0, v1, 1, 5, 3, 7);
    const Vec4 even23 = __builtin_shufflevector(v2, v3, 0, 4, 2, 6);
    const Vec4 odd23 = __builtin_shufflevector(v2, v3, 1, 5, 3, 7);
    StoreVec(to, __builtin_shufflevector(even01, even23, 0, 1, 4, 5));
    StoreVec(to + to_ld, __builtin_shufflevector(odd01, odd23, 0, 1, 4, 5));
    StoreVec(to + 2 * to_ld, __builtin_shufflevector(even01, even23, 2, 3, 6, 7));
    StoreVec(to + 3 * to_ld, __builtin_shufflevector(odd01, odd23, 2, 3, 6, 7));
}

// Components are filled up to whole squares, vectors are not.
template <class>
KIV_INLINE void TransposeBody(const TransposeRun& run) {
    int j = 0;
    for (; j + 4 <= run.N; j += 4) {
        for (int m = 0; m < run.N; m += 4) {
            TransposeSquare(run.from + j * run.from_ld + m, run.from_ld, run.to + m * run.to_ld + j,
                            run.to_ld);
        }
    }
    for (; j < run.N; ++j) {
        for (int m = 0; m < run.N; ++m) {
            run.to[m * run.to_ld + j] = run.from[j * run.from_ld + m];
        }
    }
}

KIV_KERNEL(Transpose, TransposeRun)

}  // namespace

Status UpperLevels::Begin(const Memory& memory, const Levels& levels, std::uint8_t kept) {
    KIV_TRY(by_class_.Begin(memory, levels, kept));
    levels_ = &levels;
    const int n = 2 * levels.max_J + 1;
    list_room_ = n + 1;
    const std::int64_t room =
        static_cast<std::int64_t>(std::size(lists_)) * list_room_ + kLineGroup;
    // the classes of a J fill a square of its size, each being filled up to whole vectors
    const std::int64_t square =
        std::int64_t{VecLd(n)} * RowLd(n) + (kMaxBlocks + 1) * kVecStep * RowLd(1);
    for (int part = 0; part < num_parts(); ++part) {
        if (!rows_[part].FitUnset(memory, square)) return NoMemory(array_name::kUpperRows);
        start_[part] = AlignVec(rows_[part].data());
    }
    if (!index_.FitUnset(memory, room) || !below_.FitUnset(memory, room) ||
        !place_of_.FitUnset(memory, room) || !energy_.FitUnset(memory, room) ||
        !label_.FitUnset(memory, 6 * room)) {
        return NoMemory(array_name::kUpperList);
    }
    return {};
}

void UpperLevels::Load(int J) {
    if (by_class_.J() == J) return;
    by_class_.Load(J);
    std::int64_t row = 0;
    for (int c = 0; c < by_class_.num_classes(); ++c) {
        const int N = by_class_.Class(c).N;
        first_row_[c] = row;
        row += std::int64_t{VecLd(N)} * RowLd(N);
        has_rows_[c][0] = has_rows_[c][1] = false;
    }
    for (PartnerList& list : lists_) list.filled = false;
    num_lists_ = 0;
}

const double* UpperLevels::Rows(int c, int part) {
    double* const rows = start_[part] + first_row_[c];
    if (has_rows_[c][part]) return rows;
    const int N = by_class_.Class(c).N;
    const double* from = part == 0 ? by_class_.Real(c, 0) : by_class_.Imag(c, 0);
    Transpose({N, from, VecLd(N), rows, RowLd(N)});
    has_rows_[c][part] = true;
    return rows;
}

const PartnerList& UpperLevels::Partners(unsigned classes) {
    PartnerList& list = lists_[classes];
    if (!list.filled) FillList(classes, list);
    return list;
}

void UpperLevels::FillList(unsigned classes, PartnerList& list) {
    const int J = by_class_.J(), n = 2 * J + 1;
    const std::size_t first =
        static_cast<std::size_t>(num_lists_++) * static_cast<std::size_t>(list_room_);
    const std::size_t level = Levels::Index(J, 0);
    std::size_t place = 0;
    for (int rank = 0; rank < n; ++rank) {
        const int c = by_class_.ClassOf(rank);
        below_[first + rank] = static_cast<std::int32_t>(place);
        if ((classes >> c & 1) == 0) continue;
        place_of_[first + by_class_.First(c) + by_class_.IndexOf(rank)] =
            static_cast<std::int32_t>(place);
        index_[first + place] = static_cast<std::int32_t>(level) + rank;
        energy_[first + place] = levels_->energy[level + rank];
        std::int16_t* label = &label_[6 * (first + place)];
        label[0] = static_cast<std::int16_t>(J);
        label[1] = levels_->ka[level + rank];
        label[2] = levels_->kc[level + rank];
        std::fill_n(label + 3, 3, std::int16_t{0});
        ++place;
    }
    below_[first + n] = static_cast<std::int32_t>(place);
    std::fill_n(&energy_[first + place], kLineGroup, levels_->energy[level]);  // whole vectors
    list = {true,           &index_[first],   &energy_[first], &label_[6 * first],
            &below_[first], &place_of_[first]};
}

}  // namespace kiv
