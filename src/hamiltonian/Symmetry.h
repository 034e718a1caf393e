// Two-fold rotations about a, b, c and the blocks into which they split the basis |J,K>.
//
// In this basis and its phases
//
//     C2(a)|J,K> = (-1)^K |J,K>,  C2(b)|J,K> = (-1)^J |J,-K>,  C2(c)|J,K> = (-1)^(J+K) |J,-K>.
//
// A Hamiltonian keeps the rotations that leave every one of its terms unchanged: all three, one,
// or none. Its matrix of a J falls into 4, 2 or 1 blocks, in which the levels are solved; a set of
// rotations is a mask of SYM_ bits, the characters of a block or level the mask of the kept
// rotations under which it changes sign.
// Source: S. C. Wang, Phys. Rev. 34, 243 (1929); W. Gordy, R. L. Cook, Microwave Molecular Spectra
// (Wiley, 1984), chapter VII.
#pragma once

#include <cstdint>

constexpr std::uint8_t SYM_C2A = 1;
constexpr std::uint8_t SYM_C2B = 2;
constexpr std::uint8_t SYM_C2C = 4;
constexpr std::uint8_t SYM_ALL = SYM_C2A | SYM_C2B | SYM_C2C;

/// One block of a J: basis function m = 0..N-1 belongs to K = K0 + m Step.
///
/// In a folded block K >= 0 and the function is (|J,K> + T |J,-K>)/sqrt(2), |J,0> for K = 0;
/// T = Fold_Sign, times (-1)^K when Alternate. Otherwise it is |J,K> itself.
struct SymBlock {
    int K0 = 0;
    int Step = 1;  // 1 or 2
    int N = 0;
    bool Folded = false;
    bool Alternate = false;
    int Fold_Sign = 1;
    std::uint8_t Odd = 0;  // characters: the kept rotations that change its sign

    int K(int m) const { return K0 + m * Step; }
    int T(int k) const { return Alternate && (k & 1) != 0 ? -Fold_Sign : Fold_Sign; }

    /// Block index of |J,k> (of its |k| in a folded block), or -1 when it does not take part.
    int Index(int k) const {
        const int offset = (Folded && k < 0 ? -k : k) - K0;
        if (offset < 0 || (offset & (Step - 1)) != 0) return -1;
        const int m = Step == 2 ? offset / 2 : offset;
        return m < N ? m : -1;
    }
};

constexpr int kMaxBlocks = 4;

/// The non-empty blocks of `J` under the rotations `kept` (SYM_ALL, a single one, or 0). Returns
/// their number; the sizes add up to 2J + 1.
int MakeSymBlocks(std::uint8_t kept, int J, SymBlock blocks[kMaxBlocks]);

/// Characters of a level labelled Ka, Kc (rigid rotor, A > B > C) under `kept`.
std::uint8_t LabelOdd(std::uint8_t kept, int ka, int kc);
