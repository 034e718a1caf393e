#include "transitions/UpperLevels.h"

#include <iterator>

#include "run/KivRecord.h"
#include "run/KivTrace.h"
#include "transitions/LineStore.h"

namespace {

// Columns j..j+Width-1 of the vectors, which are `from_ld` apart, to rows that are `to_ld` apart.
template <int Width>
void Transpose(const double* from, int from_ld, int N, int j, int to_ld, double* to) {
    for (int m = 0; m < N; ++m) {
        double* row = to + std::ptrdiff_t{m} * to_ld + j;
        for (int i = 0; i < Width; ++i) row[i] = from[std::ptrdiff_t{j + i} * from_ld + m];
    }
}

}  // namespace

int UpperLevels::Init(std::uint8_t kept) {
    if (!By_Class.Init(ST_EXC, kept)) return 0;
    const int n = 2 * Kiv.Max_J + 1;
    const std::int64_t lists = std::size(List), room = lists * (n + 1) + kLineGroup;
    for (int part = 0; part < (Kiv.Cplx_Ham == 1 ? 2 : 1); ++part) {
        if (ArrAlloc(Rows[part], std::int64_t{n} * RowLd(n) + kVecStep) < 0) {
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
        double* out = Start[part] + row;
        const double* first = part == 0 ? By_Class.Real(c, 0) : By_Class.Imag(c, 0);
        int j = 0;
        for (; j + kVecStep <= N; j += kVecStep)
            Transpose<kVecStep>(first, VecLd(N), N, j, ld, out);
        for (; j < N; ++j) Transpose<1>(first, VecLd(N), N, j, ld, out);
        row += std::int64_t{N} * ld;
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
