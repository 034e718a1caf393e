#include "levels/LevelScratch.h"

#include <algorithm>
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

ScratchSize SizeFor(const Hamiltonian& H, bool has_derivatives) {
    PerConstant<bool> acts{};
    int num_ops = kRigidOps, most_dk = 2;
    for (const HamTerm& term : HamTerms()) {
        if (!H.Uses(term)) continue;
        if (!acts[term.constant]) ++num_ops;
        acts[term.constant] = true;
        most_dk = std::max(most_dk, term.dk);
    }
    return {num_ops, most_dk + 1, has_derivatives};
}

Status BlockScratch::Fit(const Memory& memory, int max_J, bool is_complex,
                         const ScratchSize& size) {
    std::int64_t n = 2 * std::int64_t{max_J} + 1;
    const auto has_room = [n](const Array<double>& array) {
        return array.size() >= static_cast<std::size_t>(n);
    };
    const bool has_ops = room.num_ops >= size.num_ops && room.num_offsets >= size.num_offsets &&
                         room.has_derivatives >= size.has_derivatives;
    if (has_ops && has_room(subdiagonal) && (!is_complex || has_room(subdiagonal2))) return {};
    room = {std::max(room.num_ops, size.num_ops), std::max(room.num_offsets, size.num_offsets),
            room.has_derivatives || size.has_derivatives};
    n = std::max(n, static_cast<std::int64_t>(subdiagonal.size()));
    const std::int64_t offsets = room.num_offsets;
    subdiagonal
        .Clear();  // taken last of all: a refusal in between leaves no scratch that looks whole
    subdiagonal2.Clear();
    if (!roots.Take(memory, n * offsets) || !factors.Take(memory, n) ||
        !bands.Take(memory, n * offsets * (room.num_ops + 2) + kVecStep) ||
        !energies.Take(memory, n) || !rank_place.Take(memory, n) ||
        (room.has_derivatives && (!products.Take(memory, 8 * offsets * (n + kVecStep)) ||
                                  !sums.Take(memory, n * offsets * room.num_ops)))) {
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

Status LevelScratch::Fit(const Memory& memory, int max_J, bool is_complex,
                         const ScratchSize& size) {
    if (is_complex) return of_J[0].Fit(memory, max_J, true, size);
    for (BlockScratch& scratch : of_J) KIV_TRY(scratch.Fit(memory, max_J, false, size));
    return {};
}

}  // namespace kiv
