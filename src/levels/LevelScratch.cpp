#include "levels/LevelScratch.h"

#include <initializer_list>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

bool TakeAll(const Memory& memory, std::int64_t num, std::initializer_list<Array<double>*> arrays) {
    for (Array<double>* array : arrays) {
        if (!array->Take(memory, num)) return false;
    }
    return true;
}

}  // namespace

Status BlockScratch::Fit(const Memory& memory, int max_J, bool is_complex) {
    const std::int64_t n = 2 * std::int64_t{max_J} + 1;
    const auto has_room = [n](const Array<double>& array) {
        return array.size() >= static_cast<std::size_t>(n);
    };
    if (has_room(subdiagonal) && (!is_complex || has_room(subdiagonal2))) return {};
    subdiagonal
        .Clear();  // taken last of all: a refusal in between leaves no scratch that looks whole
    subdiagonal2.Clear();
    if (!roots.Take(memory, n * kNumOffsets) || !factors.Take(memory, n) ||
        !bands.Take(memory, n * kNumOffsets * (kMaxOps + 2) + kVecStep) ||
        !energies.Take(memory, n) || !products.Take(memory, 8 * kNumOffsets * (n + kVecStep)) ||
        !sums.Take(memory, n * kNumOffsets * kMaxOps) || !rank_place.Take(memory, n)) {
        return NoMemory(is_complex ? array_name::kComplexBlocks : array_name::kBlocks);
    }
    if (!is_complex) {
        return subdiagonal.Take(memory, n) ? Status() : NoMemory(array_name::kSubdiagonal);
    }
    if (!TakeAll(memory, n * VecLd(static_cast<int>(n)), {&matrix_real, &matrix_imag})) {
        return NoMemory(array_name::kComplexBlocks);
    }
    if (!phases.Take(memory, 2 * n)) return NoMemory(array_name::kComplexPhases);
    if (!TakeAll(memory, n, {&subdiagonal2, &subdiagonal})) {
        return NoMemory(array_name::kComplexSubdiagonal);
    }
    return {};
}

Status LevelScratch::Fit(const Memory& memory, int max_J, bool is_complex) {
    if (is_complex) return of_J[0].Fit(memory, max_J, true);
    for (BlockScratch& scratch : of_J) KIV_TRY(scratch.Fit(memory, max_J, false));
    return {};
}

}  // namespace kiv
