// Two-fold rotations about a, b, c and the blocks into which they split the basis |J,K>.
//
// In this basis and its phases
//
//     C2(a)|J,K> = (-1)^K |J,K>,  C2(b)|J,K> = (-1)^J |J,-K>,  C2(c)|J,K> = (-1)^(J+K) |J,-K>.
//
// A Hamiltonian keeps the rotations that leave every one of its terms unchanged: all three, one,
// or none. Its matrix of a J falls into 4, 2 or 1 blocks, in which the levels are solved; a set of
// rotations is a mask of kC2 bits, the characters of a block or level the mask of the kept
// rotations under which it changes sign.
// Source: S. C. Wang, Phys. Rev. 34, 243 (1929); W. Gordy, R. L. Cook, Microwave Molecular Spectra
// (Wiley, 1984), chapter VII.
#pragma once

#include <cstdint>

namespace kiv {

constexpr std::uint8_t kC2a = 1;
constexpr std::uint8_t kC2b = 2;
constexpr std::uint8_t kC2c = 4;
constexpr std::uint8_t kAllC2 = kC2a | kC2b | kC2c;

/// One block of a J: basis function m = 0..N-1 belongs to K = K0 + m step.
///
/// In a folded block K >= 0 and the function is (|J,K> + T |J,-K>)/sqrt(2), |J,0> for K = 0;
/// T = fold_sign, times (-1)^K when alternate. Otherwise it is |J,K> itself.
struct SymBlock {
    int K0 = 0;
    int step = 1;  // 1 or 2
    int N = 0;
    bool folded = false;
    bool alternate = false;
    int fold_sign = 1;
    std::uint8_t odd = 0;  // characters: the kept rotations that change its sign

    int K(int m) const { return K0 + m * step; }
    int T(int k) const { return alternate && (k & 1) != 0 ? -fold_sign : fold_sign; }

    /// Block index of |J,k> (of its |k| in a folded block), or -1 when it does not take part.
    int Index(int k) const {
        const int offset = (folded && k < 0 ? -k : k) - K0;
        if (offset < 0 || (offset & (step - 1)) != 0) return -1;
        const int m = step == 2 ? offset / 2 : offset;
        return m < N ? m : -1;
    }
};

constexpr int kMaxBlocks = 4;

/// The non-empty blocks of `J` under the rotations `kept` (kAllC2, a single one, or 0). Returns
/// their number; the sizes add up to 2J + 1.
int MakeSymBlocks(std::uint8_t kept, int J, SymBlock blocks[kMaxBlocks]);

/// Characters of a level labelled Ka, Kc (rigid rotor, A > B > C) under `kept`.
std::uint8_t LabelOdd(std::uint8_t kept, int ka, int kc);

}  // namespace kiv
