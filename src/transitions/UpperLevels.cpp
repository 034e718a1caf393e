#include "transitions/UpperLevels.h"

#include <cstddef>
#include <iterator>

#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "run/Simd.h"
#include "transitions/LineStore.h"

namespace {

// Vectors of N components, From_Ld apart, to rows of one component each, To_Ld apart.
struct TransposeRun {
    int N;
    const double* From;
    std::ptrdiff_t From_Ld;
    double* To;
    std::ptrdiff_t To_Ld;
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
            TransposeSquare(run.From + j * run.From_Ld + m, run.From_Ld, run.To + m * run.To_Ld + j,
                            run.To_Ld);
        }
    }
    for (; j < run.N; ++j) {
        for (int m = 0; m < run.N; ++m) {
            run.To[m * run.To_Ld + j] = run.From[j * run.From_Ld + m];
        }
    }
}

KIV_KERNEL(Transpose, TransposeRun)

}  // namespace

int UpperLevels::Init(std::uint8_t kept) {
    if (!By_Class.Init(ST_EXC, kept)) return 0;
    const int n = 2 * Kiv.Max_J + 1;
    const std::int64_t lists = std::size(List), room = lists * (n + 1) + kLineGroup;
    // the classes of a J fill a square of its size, each being filled up to whole vectors
    const std::int64_t square =
        std::int64_t{VecLd(n)} * RowLd(n) + (kMaxBlocks + 1) * kVecStep * RowLd(1);
    for (int part = 0; part < (Kiv.Cplx_Ham == 1 ? 2 : 1); ++part) {
        if (ArrAlloc(Rows[part], square) < 0) {
            return CoreFail("UpperLevels()/Rows");
        }
        Start[part] = AlignVec(Rows[part].Data());
    }
    if (ArrAlloc(Index, room) < 0 || ArrAlloc(Below, room) < 0 || ArrAlloc(PlaceOf, room) < 0 ||
        ArrAlloc(Erg, room) < 0 || ArrAlloc(Label, 6 * room) < 0) {
        return CoreFail("UpperLevels()/List");
    }
    return 1;
}

void UpperLevels::Load(int J) {
    if (By_Class.J() == J) return;
    By_Class.Load(J);
    for (int part = 0; part < (Kiv.Cplx_Ham == 1 ? 2 : 1); ++part) FillRows(part);
    for (PartnerList& list : List) list.Filled = false;
}

void UpperLevels::FillRows(int part) {
    std::int64_t row = 0;
    for (int c = 0; c < By_Class.NumClasses(); ++c) {
        const int N = By_Class.Class(c).N, ld = RowLd(N);
        First_Row[c] = row;
        const double* from = part == 0 ? By_Class.Real(c, 0) : By_Class.Imag(c, 0);
        Transpose({N, from, VecLd(N), Start[part] + row, ld});
        row += std::int64_t{VecLd(N)} * ld;
    }
}

const PartnerList& UpperLevels::Partners(unsigned classes) {
    PartnerList& list = List[classes];
    if (!list.Filled) FillList(classes, list);
    return list;
}

void UpperLevels::FillList(unsigned classes, PartnerList& list) {
    const int J = By_Class.J(), n = 2 * J + 1;
    const std::size_t first = std::size_t{classes} * (2 * static_cast<std::size_t>(Kiv.Max_J) + 2);
    const std::size_t level = static_cast<std::size_t>(J) * J;
    std::size_t place = 0;
    for (int rank = 0; rank < n; ++rank) {
        const int c = By_Class.ClassOf(rank);
        Below[first + rank] = static_cast<std::int32_t>(place);
        if ((classes >> c & 1) == 0) continue;
        PlaceOf[first + By_Class.First(c) + By_Class.IndexOf(rank)] =
            static_cast<std::int32_t>(place);
        Index[first + place] = static_cast<std::int32_t>(level) + rank;
        Erg[first + place] = Kiv.HamErg_Vector[ST_EXC][level + rank];
        std::int16_t* label = &Label[6 * (first + place)];
        label[0] = static_cast<std::int16_t>(J);
        label[1] = Kiv.Ka_Vector[ST_EXC][level + rank];
        label[2] = Kiv.Kc_Vector[ST_EXC][level + rank];
        ++place;
    }
    Below[first + n] = static_cast<std::int32_t>(place);
    list = {true, &Index[first], &Erg[first], &Label[6 * first], &Below[first], &PlaceOf[first]};
}
