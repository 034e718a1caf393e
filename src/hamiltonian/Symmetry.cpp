#include "hamiltonian/Symmetry.h"

#include <initializer_list>

namespace {

bool IsOdd(int n) { return (n & 1) != 0; }

std::uint8_t OddIf(bool odd, std::uint8_t rotation) { return odd ? rotation : 0; }

// K = K0, K0 + step, ... up to J; a folded block without a symmetric partner leaves out K = 0.
SymBlock MakeBlock(int J, int K0, int step) {
    SymBlock block;
    block.K0 = K0;
    block.Step = step;
    block.N = K0 > J ? 0 : (J - K0) / step + 1;
    return block;
}

SymBlock WangBlock(int J, int parity, int sign) {
    SymBlock block = MakeBlock(J, parity == 0 && sign < 0 ? 2 : parity, 2);
    block.Folded = true;
    block.Fold_Sign = sign;
    block.Odd = static_cast<std::uint8_t>(OddIf(parity == 1, SYM_C2A) |
                                          OddIf(IsOdd(J) != (sign < 0), SYM_C2B) |
                                          OddIf(IsOdd(J + parity) != (sign < 0), SYM_C2C));
    return block;
}

SymBlock ParityBlock(int J, int parity) {
    SymBlock block = MakeBlock(J, IsOdd(J) == (parity == 1) ? -J : 1 - J, 2);
    block.Odd = OddIf(parity == 1, SYM_C2A);
    return block;
}

// C2(b) keeps T the same for all K, C2(c) alternates it.
SymBlock FoldedBlock(int J, int sign, std::uint8_t rotation) {
    SymBlock block = MakeBlock(J, sign < 0 ? 1 : 0, 1);
    block.Folded = true;
    block.Fold_Sign = sign;
    block.Alternate = rotation == SYM_C2C;
    block.Odd = OddIf(IsOdd(J) != (sign < 0), rotation);
    return block;
}

}  // namespace

int MakeSymBlocks(std::uint8_t kept, int J, SymBlock blocks[kMaxBlocks]) {
    int num = 0;
    const auto add = [&](const SymBlock& block) {
        if (block.N > 0) blocks[num++] = block;
    };
    switch (kept) {
        case SYM_ALL:
            for (int parity : {0, 1}) {
                for (int sign : {1, -1}) add(WangBlock(J, parity, sign));
            }
            break;
        case SYM_C2A:
            for (int parity : {0, 1}) add(ParityBlock(J, parity));
            break;
        case SYM_C2B:
        case SYM_C2C:
            for (int sign : {1, -1}) add(FoldedBlock(J, sign, kept));
            break;
        default:
            add(MakeBlock(J, -J, 1));
    }
    return num;
}

std::uint8_t LabelOdd(std::uint8_t kept, int ka, int kc) {
    const std::uint8_t odd = static_cast<std::uint8_t>(
        OddIf(IsOdd(ka), SYM_C2A) | OddIf(IsOdd(ka + kc), SYM_C2B) | OddIf(IsOdd(kc), SYM_C2C));
    return odd & kept;
}
