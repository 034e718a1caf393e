#include "levels/Symmetry.h"

#include <initializer_list>

namespace kiv {
namespace {

bool IsOdd(int n) { return (n & 1) != 0; }

std::uint8_t OddIf(bool odd, std::uint8_t rotation) { return odd ? rotation : 0; }

// K = K0, K0 + step, ... up to J; a folded block without a symmetric partner leaves out K = 0.
SymBlock MakeBlock(int J, int K0, int step) {
    SymBlock block;
    block.K0 = K0;
    block.step = step;
    block.N = K0 > J ? 0 : (J - K0) / step + 1;
    return block;
}

SymBlock WangBlock(int J, int parity, int sign) {
    SymBlock block = MakeBlock(J, parity == 0 && sign < 0 ? 2 : parity, 2);
    block.folded = true;
    block.fold_sign = sign;
    block.odd =
        static_cast<std::uint8_t>(OddIf(parity == 1, kC2a) | OddIf(IsOdd(J) != (sign < 0), kC2b) |
                                  OddIf(IsOdd(J + parity) != (sign < 0), kC2c));
    return block;
}

SymBlock ParityBlock(int J, int parity) {
    SymBlock block = MakeBlock(J, IsOdd(J) == (parity == 1) ? -J : 1 - J, 2);
    block.odd = OddIf(parity == 1, kC2a);
    return block;
}

// C2(b) keeps T the same for all K, C2(c) alternates it.
SymBlock FoldedBlock(int J, int sign, std::uint8_t rotation) {
    SymBlock block = MakeBlock(J, sign < 0 ? 1 : 0, 1);
    block.folded = true;
    block.fold_sign = sign;
    block.alternate = rotation == kC2c;
    block.odd = OddIf(IsOdd(J) != (sign < 0), rotation);
    return block;
}

}  // namespace

int MakeSymBlocks(std::uint8_t kept, int J, SymBlock blocks[kMaxBlocks]) {
    int num = 0;
    const auto add = [&](const SymBlock& block) {
        if (block.N > 0) blocks[num++] = block;
    };
    switch (kept) {
        case kAllC2:
            for (int parity : {0, 1}) {
                for (int sign : {1, -1}) add(WangBlock(J, parity, sign));
            }
            break;
        case kC2a:
            for (int parity : {0, 1}) add(ParityBlock(J, parity));
            break;
        case kC2b:
        case kC2c:
            for (int sign : {1, -1}) add(FoldedBlock(J, sign, kept));
            break;
        default:
            add(MakeBlock(J, -J, 1));
    }
    return num;
}

std::uint8_t LabelOdd(std::uint8_t kept, int ka, int kc) {
    const std::uint8_t odd = static_cast<std::uint8_t>(
        OddIf(IsOdd(ka), kC2a) | OddIf(IsOdd(ka + kc), kC2b) | OddIf(IsOdd(kc), kC2c));
    return odd & kept;
}

}  // namespace kiv
