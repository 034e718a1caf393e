// Levels, labels, eigenvectors and derivatives of real and complex states.

#include "kiv/levels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "levels/LevelVectors.h"
#include "levels/Symmetry.h"
#include "support/Rotor.h"
#include "support/SlowRotor.h"

namespace kiv {
namespace {

constexpr Constant kReal[] = {
    Constant::PX,  Constant::PZ, Constant::PXPZ, Constant::DK,   Constant::DJK,   Constant::DJ,
    Constant::dK,  Constant::dJ, Constant::PZ3,  Constant::PX3,  Constant::PZ2PX, Constant::PX2PZ,
    Constant::PZ5, Constant::HJ, Constant::HJK,  Constant::HKJ,  Constant::HK,    Constant::hJ,
    Constant::hJK, Constant::hK, Constant::LJ,   Constant::LJJK, Constant::LJK,   Constant::LKKJ,
    Constant::LK,  Constant::lJ, Constant::lJK,  Constant::lKJ,  Constant::lK};
constexpr Constant kComplex[] = {Constant::PY,  Constant::PXPY,  Constant::PYPZ,
                                 Constant::PY3, Constant::PZ2PY, Constant::PY2PZ};

double SmallValue(Constant c) {
    const int place = static_cast<int>(c);
    if (c <= Constant::PYPZ) return 0.3 + 0.05 * place;
    if (c <= Constant::PZ5) return 1e-3 * (place - 7);
    return c <= Constant::hK ? 1e-5 * (place - 20) : 1e-7 * (place - 27);
}

Levels Solve(const State& state, int max_J, bool is_complex) {
    Workspace work;
    Report silent;
    Result<Levels> levels = SolveLevels(state, max_J, is_complex, work, silent);
    if (levels) return std::move(levels).value();
    ADD_FAILURE() << levels.error().text;
    return {};
}

Levels Solve(const State& state, int max_J) { return Solve(state, max_J, NeedsComplex(state)); }

// C2(a)|K> = (-1)^K |K>, C2(b)|K> = (-1)^J |-K> and their product keep or change the sign; the
// largest component, or one as large, is positive where K and -K are not folded into one.
void ExpectCharacters(const Levels& levels) {
    for (int J = 0; J <= levels.max_J; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            const auto v = levels.Vector(J, r);
            const std::uint8_t odd = levels.odd[Levels::Index(J, r)];
            EXPECT_EQ(odd & ~levels.kept, 0);
            for (int K = -J; K <= J; ++K) {
                const double a = K % 2 == 0 ? 1.0 : -1.0, b = J % 2 == 0 ? 1.0 : -1.0;
                const Complex x = v[J + K], mirrored = b * v[J - K];
                for (const auto& [rotation, turned] :
                     {std::pair(kC2a, a * x), {kC2b, mirrored}, {kC2c, a * mirrored}}) {
                    if ((levels.kept & rotation) == 0) continue;
                    ASSERT_EQ(turned, (odd & rotation) == 0 ? x : -x) << J << " " << r << " " << K;
                }
            }
            if ((levels.kept & kC2b) != 0 || (levels.kept & kC2c) != 0) continue;
            double largest = 0.0;
            for (const Complex& x : v) largest = std::max(largest, std::abs(x));
            EXPECT_TRUE(std::any_of(v.begin(), v.end(), [&](const Complex& x) {
                return x.imag() == 0.0 && x.real() > largest * (1.0 - 1e-9);
            }));
        }
    }
}

template <class T>
bool SameBytes(const Array<T>& a, const Array<T>& b) {
    return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

// Which constants are on beside A, B, C, in which reduction and frame.
struct TermCase {
    std::string name;
    std::vector<Constant> constants;
    Reduction reduction;
    bool is_complex;
    EulerAngles tilt;
    double scale = 1.0;  // of their values

    State MakeState() const {
        State state = StdRotor(tilt);
        state.reduction = reduction;
        for (const Constant c : constants) state.Set(c, scale * SmallValue(c));
        return state;
    }
};

void PrintTo(const TermCase& c, std::ostream* out) { *out << c.name; }

// Each constant alone, the quartic set, all together; in a tilted frame all but the cross terms.
std::vector<TermCase> TermCases() {
    const std::vector<Constant> real(std::begin(kReal), std::end(kReal));
    std::vector<Constant> all(real), tilted;
    all.insert(all.end(), std::begin(kComplex), std::end(kComplex));
    std::copy_if(all.begin(), all.end(), std::back_inserter(tilted),
                 [](Constant c) { return c < Constant::PXPY || c > Constant::PYPZ; });
    std::vector<TermCase> cases;
    for (const Reduction reduction : {Reduction::A, Reduction::S}) {
        const std::string tail = reduction == Reduction::A ? "_A" : "_S";
        for (const Constant c : all) {
            const bool is_complex = std::count(real.begin(), real.end(), c) == 0;
            cases.push_back({NameOf(c, reduction) + tail, {c}, reduction, is_complex, {}});
        }
        const std::vector<Constant> quartic = {Constant::DK, Constant::DJK, Constant::DJ,
                                               Constant::dK, Constant::dJ};
        cases.push_back({"rigid" + tail, {}, reduction, false, {}});
        cases.push_back({"rigid_complex" + tail, {}, reduction, true, {}});
        cases.push_back({"quartic" + tail, quartic, reduction, false, {}});
        cases.push_back({"all_real" + tail, real, reduction, false, {}});
        cases.push_back({"all" + tail, all, reduction, true, {}});
        cases.push_back({"theta" + tail, quartic, reduction, false, {0, 25, 0}});
        cases.push_back({"three_angles" + tail, tilted, reduction, true, {33, 71, -12}});
        cases.push_back({"idle" + tail, all, reduction, true, {33, 71, -12}, 0.0});
    }
    // Turned states that are solved in their own axes: no, one and all rotations of the basis.
    const std::vector<Constant> isotropic = {Constant::DJ, Constant::HJ, Constant::LJ};
    for (const EulerAngles& tilt : {EulerAngles{0, 25, 0},
                                    {33, 71, -12},
                                    {30, 0, 0},
                                    {0, 0, -140},
                                    {90, 25, 0},
                                    {0, 25, 90},
                                    {90, 90, 0},
                                    {90, 90, 90}}) {
        const bool is_complex = tilt.phi != 0.0 || tilt.chi != 0.0;
        cases.push_back(
            {"turned_" + std::to_string(cases.size()), isotropic, Reduction::A, is_complex, tilt});
    }
    return cases;
}

class Terms : public testing::TestWithParam<TermCase> {
  protected:
    static constexpr int kMaxJ = 5;

    const State state_ = GetParam().MakeState();
    const Levels levels_ = Solve(state_, kMaxJ, GetParam().is_complex);
};

// Every operator against products of angular-momentum matrices: energies by Jacobi rotations,
// H v = E v and v* w = delta for the vectors (the program's basis is the conjugate one).
TEST_P(Terms, GiveTheLevelsOfTheOperatorProducts) {
    for (int J = 0; J <= kMaxJ; ++J) {
        const int n = 2 * J + 1;
        const SlowLevels slow = SlowSolve(J, state_);
        for (int r = 0; r < n; ++r) {
            const double energy = levels_.Energy(J, r);
            EXPECT_NEAR(energy, slow.energy[r], 1e-11 * (1.0 + std::fabs(slow.energy[n - 1])));
            const auto v = levels_.Vector(J, r);
            for (int q = 0; q < n; ++q) {
                const auto w = levels_.Vector(J, q);
                Complex product = 0.0, overlap = 0.0;
                for (int i = 0; i < n; ++i) {
                    product += std::conj(v[i]) * w[i];
                    overlap += v[i] * slow.vectors(i, q);  // 0 unless the energies agree
                }
                EXPECT_NEAR(std::abs(product), q == r ? 1.0 : 0.0, 1e-13);
                EXPECT_LT(std::abs(overlap * (energy - slow.energy[q])), 1e-8) << r << " " << q;
            }
        }
    }
}

// Four-point quotients, with a step that is small against the level spacing for operators of any
// order; A, B, C with respect to the values before the turn.
TEST_P(Terms, GiveDerivativesEqualToDifferenceQuotients) {
    constexpr std::pair<int, double> kQuotient[] = {{-2, 1.0}, {-1, -8.0}, {1, 8.0}, {2, -1.0}};
    int place = 0;
    for (int k = 0; k < kNumConstants; ++k) {
        if (!state_.terms[k].on) continue;
        const auto c = static_cast<Constant>(k);
        ASSERT_LT(place, levels_.num_derivatives);
        EXPECT_EQ(levels_.derivative_of[place], c);
        double size = 0.0;  // largest element of the operator
        const SlowMatrix op = SlowOperator(kMaxJ, c, state_.reduction);
        for (const Complex& x : op.elements) size = std::max(size, std::abs(x));
        const double step = 1e-3 / size;
        std::vector<double> quotient(levels_.size(), 0.0);
        for (const auto& [shift, weight] : kQuotient) {
            State shifted = state_;
            shifted.terms[c].value += shift * step;
            const Levels other = Solve(shifted, kMaxJ, levels_.is_complex);
            for (std::size_t i = 0; i < other.size(); ++i) {
                quotient[i] += weight * other.energy[i] / (12 * step);
            }
        }
        for (int J = 0; J <= kMaxJ; ++J) {
            for (int r = 0; r <= 2 * J; ++r) {
                EXPECT_NEAR(levels_.Derivatives(J, r)[place], quotient[Levels::Index(J, r)],
                            1e-7 * size)
                    << NameOf(c) << " " << J << " " << r;
            }
        }
        ++place;
    }
    EXPECT_EQ(place, levels_.num_derivatives);
}

TEST_P(Terms, GiveVectorsWithTheirCharacters) {
    EXPECT_EQ(NeedsComplex(state_), GetParam().is_complex && GetParam().name[0] != 'r');
    ExpectCharacters(levels_);
}

INSTANTIATE_TEST_SUITE_P(, Terms, testing::ValuesIn(TermCases()),
                         [](const auto& c) { return c.param.name; });

// J(J+1) B + K^2 (A - B), and labels by rank.
TEST(SolvedLevels, OfASymmetricTopAreItsClosedForm) {
    const Levels levels = Solve(State::Rigid(5, 2, 2), 40);
    ASSERT_EQ(levels.size(), 41u * 41u);
    for (int J = 0; J <= 40; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            const int K = (r + 1) / 2;
            EXPECT_NEAR(levels.Energy(J, r), 2.0 * J * (J + 1) + 3.0 * K * K, 1e-9);
            EXPECT_EQ(levels.ka[Levels::Index(J, r)], K);
            EXPECT_EQ(levels.kc[Levels::Index(J, r)], J - r / 2);
        }
    }
}

// At high Ka the two members of an asymmetry doublet agree to rounding; each must still be a pure
// function of its symmetry, with the characters of its label, whatever the energies' last digits.
TEST(SolvedLevels, KeepUnresolvedDoubletsPure) {
    const Levels levels = Solve(State::Rigid(60778.5522, 10318.0722, 8799.7023), 40);
    ASSERT_EQ(levels.kept, kAllC2);
    for (std::size_t i = 0; i < levels.size(); ++i) {
        EXPECT_EQ(levels.odd[i], LabelOdd(kAllC2, levels.ka[i], levels.kc[i])) << i;
    }
    ExpectCharacters(levels);
}

// So must it be in turned axes, and in those it has the characters that its label has in its own.
TEST(SolvedLevels, KeepUnresolvedDoubletsPureInTurnedAxes) {
    const State upright = State::Rigid(60778.5522, 10318.0722, 8799.7023);
    const Levels own = Solve(upright, 40);
    for (const auto& [tilt, kept] : {std::pair(EulerAngles{2, 5, 3}, std::uint8_t{0}),
                                     {{0, 5, 0}, kC2c},
                                     {{90, 5, 0}, kC2c},
                                     {{0, 40, 90}, kC2b},
                                     {{30, 0, 0}, kC2a},
                                     {{90, 90, 90}, kAllC2}}) {
        State state = upright;
        state.tilt = tilt;
        const Levels levels = Solve(state, 40);
        EXPECT_EQ(levels.kept, kept);
        EXPECT_TRUE(SameBytes(levels.energy, own.energy));
        EXPECT_TRUE(SameBytes(levels.derivative, own.derivative));
        for (std::size_t i = 0; i < levels.size(); ++i) {
            const std::uint8_t odd = LabelOdd(kAllC2, levels.ka[i], levels.kc[i]);
            EXPECT_EQ(levels.odd[i], levels.OddInBasis(odd)) << i;
        }
        ExpectCharacters(levels);
    }
}

// H is linear in its constants, so that an energy is the sum of constant times derivative; and the
// derivatives of a J add up to the trace of the operator, for A to J (J + 1) (2J + 1) / 3.
TEST(SolvedLevels, OfEverySizeAddUp) {
    for (const bool is_complex : {false, true}) {
        State state = StdRotor(is_complex ? EulerAngles{33, 71, -12} : EulerAngles{0, 25, 0});
        for (const Constant c : {Constant::PX, Constant::DJK, Constant::dJ, Constant::PZ3}) {
            state.Set(c, 1e-2 * SmallValue(c));
        }
        const Levels levels = Solve(state, 33);
        EXPECT_EQ(levels.is_complex, is_complex);
        for (int J = 0; J <= 33; ++J) {
            double trace[3] = {};
            for (int r = 0; r <= 2 * J; ++r) {
                const auto derivatives = levels.Derivatives(J, r);
                double energy = 0.0;
                for (int i = 0; i < levels.num_derivatives; ++i) {
                    energy += derivatives[i] * state.value(levels.derivative_of[i]);
                    if (i < 3) trace[i] += derivatives[i];
                }
                EXPECT_NEAR(energy, levels.Energy(J, r), 1e-9 * (J + 1));
                EXPECT_LE(levels.Energy(J, std::max(r - 1, 0)), levels.Energy(J, r) + 1e-9);
            }
            for (const double sum : trace) {
                EXPECT_NEAR(sum, J * (J + 1) * (2 * J + 1) / 3.0, 1e-9 * (J + 1));
            }
        }
    }
}

// Room for as many vectors as there are levels, each as long as the largest block needs.
TEST(SolvedLevels, HaveRoomForTheVectorsOfTheirBlocks) {
    for (const std::uint8_t kept : {std::uint8_t{0}, kC2a, kC2b, kC2c, kAllC2}) {
        std::int64_t next = 0;
        for (int J = 0; J <= 200; ++J) {
            ASSERT_EQ(VecOffset(J, kept), next) << J << " keeps " << int{kept};
            const LevelBlocks blocks = BlocksOf(kept, J);
            int largest = 0;
            for (int b = 0; b < blocks.num; ++b) largest = std::max(largest, blocks.block[b].N);
            next += std::int64_t{2 * J + 1} * VecLd(largest) + kVecStep;
        }
        EXPECT_LE(next + 3 * kVecStep, VecLength(200));
    }
}

TEST(SolvedLevels, OfAnOddConstantAtZeroHaveDerivativeExactlyZero) {
    for (const Constant c : {Constant::PX, Constant::PZ, Constant::PXPZ, Constant::PZ3,
                             Constant::PX3, Constant::PZ2PX, Constant::PX2PZ, Constant::PZ5}) {
        const Levels levels = Solve(StdRotor().Set(c, 0.0), 20);
        for (std::size_t i = 0; i < levels.size(); ++i) {
            EXPECT_EQ(levels.derivative[4 * i + 3], 0.0);
        }
    }
}

// A real Hamiltonian has no PY3 and PY2PZ: their columns stay in place and hold zeros.
TEST(SolvedLevels, KeepTheColumnsOfConstantsThatTakeNoPart) {
    State state = StdRotor();
    for (const Constant c : {Constant::PY3, Constant::PY2PZ, Constant::PZ5}) state.Set(c, 0.01);
    const Levels levels = Solve(state, 3, false);
    ASSERT_EQ(levels.num_derivatives, 6);
    double sum = 0.0;
    for (std::size_t i = 0; i < levels.size(); ++i) {
        EXPECT_EQ(levels.derivative[6 * i + 3], 0.0);
        EXPECT_EQ(levels.derivative[6 * i + 4], 0.0);
        sum += std::fabs(levels.derivative[6 * i + 5]);
    }
    EXPECT_GT(sum, 1.0);  // PZ5, in the last column
}

// Turning the frame changes no energy, and no derivative with respect to the state's own A, B, C.
TEST(SolvedLevels, OfATiltedStateAreThoseOfTheUprightOne) {
    const Levels upright = Solve(StdRotor(), 6);
    for (const EulerAngles& tilt : {EulerAngles{0, 71, 0},
                                    {33, 71, -33},
                                    {50, 0, 0},
                                    {0, 0, 20},
                                    {-170, 200, 95},
                                    {0, 90, 0},
                                    {90, 90, 0}}) {
        const Levels tilted = Solve(StdRotor(tilt), 6);
        EXPECT_EQ(tilted.is_complex, tilt.theta == 0.0 || tilt.phi != 0.0);
        for (std::size_t i = 0; i < upright.size(); ++i) {
            EXPECT_NEAR(tilted.energy[i], upright.energy[i], 1e-9);
            for (std::size_t k = 3 * i; k < 3 * i + 3; ++k) {
                EXPECT_NEAR(tilted.derivative[k], upright.derivative[k], 1e-8);
            }
        }
    }
}

// --- workspaces, refusals and reports

State FullState(bool is_complex) {
    State state = StdRotor();
    for (const Constant c : kReal) state.Set(c, SmallValue(c));
    for (const Constant c : kComplex) {
        if (is_complex) state.Set(c, SmallValue(c));
    }
    return state;
}

void ExpectSameBits(const Levels& a, const Levels& b) {
    ASSERT_EQ(a.max_J, b.max_J);
    EXPECT_EQ(a.is_complex, b.is_complex);
    EXPECT_EQ(a.kept, b.kept);
    EXPECT_TRUE(SameBytes(a.energy, b.energy));
    EXPECT_TRUE(SameBytes(a.ka, b.ka));
    EXPECT_TRUE(SameBytes(a.kc, b.kc));
    EXPECT_TRUE(SameBytes(a.odd, b.odd));
    EXPECT_TRUE(SameBytes(a.derivative, b.derivative));
    for (int J = 0; J <= a.max_J; ++J) {
        for (int r = 0; r <= 2 * J; ++r) {
            const auto v = a.Vector(J, r), w = b.Vector(J, r);
            ASSERT_EQ(std::memcmp(v.data(), w.data(), v.size() * sizeof v[0]), 0) << J << " " << r;
        }
    }
}

// What a workspace was used for before shows in no bit, whatever its sizes.
TEST(LevelWorkspace, ChangesNoResult) {
    Workspace work;
    const std::pair<int, bool> runs[] = {{9, false}, {2, true},  {20, false}, {9, true},
                                         {9, false}, {20, true}, {0, false},  {21, false},
                                         {1, true},  {20, true}};
    std::vector<Levels> kept;
    for (const auto& [max_J, is_complex] : runs) {
        Result<Levels> levels = SolveLevels(FullState(is_complex), max_J, work);
        ASSERT_TRUE(levels);
        kept.push_back(std::move(levels).value());
    }
    work = Workspace();
    for (std::size_t i = 0; i < kept.size(); ++i) {
        SCOPED_TRACE(i);
        ExpectSameBits(kept[i], Solve(FullState(runs[i].second), runs[i].first));
    }
}

// Threads and energies alone give the same bits, whether blocks are tridiagonal, wider, complex or
// turned; a workspace with scratch of other sizes serves for both.
TEST(LevelWorkspace, GivesTheSameOnThreadsAndWithoutVectors) {
    State wide = FullState(false);
    wide.reduction = Reduction::S;
    State turned = StdRotor({10.0, 20.0, 30.0});
    State prolate = State::Rigid(60778.0, 10318.0, 8799.0);
    prolate.Set(Constant::DJK, 1e-3).Set(Constant::dK, 1e-3);
    Workspace alone, shared(Memory(), 3);
    for (const State& state : {prolate, wide, FullState(true), turned, StdRotor({0, 40, 0})}) {
        for (const int max_J : {0, 1, 2, 14, 7}) {
            const Levels levels = SolveLevels(state, max_J, alone).value();
            ExpectSameBits(SolveLevels(state, max_J, shared).value(), levels);
            for (Workspace* work : {&alone, &shared}) {
                const Levels energies = SolveEnergies(state, max_J, *work).value();
                EXPECT_TRUE(energies.vectors_real.is_null());
                const std::size_t n = levels.size();
                EXPECT_EQ(
                    std::memcmp(energies.energy.data(), levels.energy.data(), n * sizeof(double)),
                    0);
                EXPECT_TRUE(std::equal(levels.ka.begin(), levels.ka.end(), energies.ka.begin()));
                EXPECT_TRUE(std::equal(levels.kc.begin(), levels.kc.end(), energies.kc.begin()));
            }
        }
    }
    State infinite = StdRotor();
    infinite.terms[Constant::A].value = std::nan("");
    EXPECT_EQ(SolveEnergies(infinite, 3, alone).error().code, ErrorCode::OutOfRange);
    EXPECT_EQ(SolveEnergies(StdRotor(), -1, alone).error().code, ErrorCode::OutOfRange);
}

// Every array can be refused, is named, and leaves a workspace that goes on as if it were new,
// whether it was used for smaller levels before or not.
TEST(LevelWorkspace, SurvivesEveryRefusal) {
    const std::vector<std::string> named[] = {
        {"level energies", "level labels", "eigenvectors", "derivatives of the levels",
         "symmetry blocks", "subdiagonal", "symmetry blocks", "subdiagonal"},
        {"level energies", "level labels", "eigenvectors", "imaginary parts of the eigenvectors",
         "derivatives of the levels", "complex symmetry blocks", "phases of the complex reduction",
         "subdiagonal of the complex reduction"}};
    for (const auto& [is_complex, is_used] :
         {std::pair(false, false), {false, true}, {true, false}, {true, true}}) {
        const State state = FullState(is_complex), other = FullState(!is_complex);
        const Levels whole = Solve(state, 4), other_whole = Solve(other, 2);
        Memory memory(1 << 20);
        std::vector<std::string> found;
        for (int granted = 0;; ++granted) {
            SCOPED_TRACE(granted);
            Workspace work(memory);
            for (const State* small : {&state, &other}) {
                if (is_used) {
                    ASSERT_TRUE(SolveLevels(*small, 2, work));
                }
            }
            memory.RefuseAfter(granted);
            const Result<Levels> levels = SolveLevels(state, 4, work);
            memory.RefuseAfter(-1);
            const Result<Levels> next = SolveLevels(other, 2, work);
            const Result<Levels> small = SolveLevels(state, 2, work);
            const Result<Levels> again = SolveLevels(state, 4, work);
            ASSERT_TRUE(next && small && again);
            ExpectSameBits(next.value(), other_whole);
            ExpectSameBits(again.value(), whole);
            if (levels) break;
            EXPECT_EQ(levels.error().code, ErrorCode::NoMemory);
            const std::string& name = levels.error().subject;
            EXPECT_NE(levels.error().text.find(name), std::string::npos);
            if (found.empty() || found.back() != name) found.push_back(name);
        }
        EXPECT_EQ(memory.held(), 0);
        EXPECT_EQ(found, named[is_complex]);
    }
}

TEST(LevelWorkspace, RefusesSizesBeyondItsLimitAndAllMachines) {
    Memory memory(std::int64_t{20} << 20);
    Workspace work(memory);
    const std::pair<int, std::string> cases[] = {{-1, "max_J"},
                                                 {-2147483647, "max_J"},
                                                 {46339, "level energies"},
                                                 {46340, "level energies"},
                                                 {100000, "level energies"},
                                                 {2147483647, "level energies"},
                                                 {500, "eigenvectors"},
                                                 {100, "imaginary parts of the eigenvectors"}};
    for (const auto& [max_J, name] : cases) {
        const Result<Levels> levels = SolveLevels(FullState(true), max_J, work);
        ASSERT_FALSE(levels) << max_J;
        EXPECT_EQ(levels.error().code, max_J < 0 ? ErrorCode::OutOfRange : ErrorCode::NoMemory);
        EXPECT_EQ(levels.error().subject, name) << max_J;
        EXPECT_EQ(memory.held(), 0);
    }
}

class StoppingReport : public Report {
  public:
    int stop_at = -1;
    std::vector<int> told;

    void Progress(Stage stage, int done, int all) override {
        EXPECT_EQ(stage, Stage::LowerLevels);
        EXPECT_EQ(all, 8);
        told.push_back(done);
    }
    bool Cancelled() override { return !told.empty() && told.back() == stop_at; }
};

TEST(LevelReport, HearsOfEveryStepAndStops) {
    const std::vector<int> steps[] = {{2, 4, 6, 8}, {1, 2, 3, 4, 5, 6, 7, 8}};
    for (const bool is_complex : {false, true}) {
        const State state = FullState(is_complex);
        const Levels whole = Solve(state, 7);
        Workspace work;
        StoppingReport report;
        ASSERT_TRUE(SolveLevels(state, 7, is_complex, work, report));
        EXPECT_EQ(report.told, steps[is_complex]);
        report.stop_at = 4;
        report.told.clear();
        const Result<Levels> stopped = SolveLevels(state, 7, is_complex, work, report);
        ASSERT_FALSE(stopped);
        EXPECT_EQ(stopped.error().code, ErrorCode::Cancelled);
        EXPECT_EQ(report.told.back(), 4);
        const Result<Levels> again = SolveLevels(state, 7, work);
        ASSERT_TRUE(again);
        ExpectSameBits(again.value(), whole);
    }
}

TEST(SolvedLevels, RefuseNumbersThatAreNotFinite) {
    Workspace work;
    for (const double bad : {double{NAN}, double{INFINITY}, -double{INFINITY}}) {
        std::vector<std::pair<std::string, State>> cases = {{"tilt", StdRotor({bad, 0, 0})},
                                                            {"tilt", StdRotor({0, bad, 0})},
                                                            {"tilt", StdRotor({0, 0, bad})}};
        for (const Constant c : {Constant::A, Constant::C, Constant::PY, Constant::PZ5}) {
            cases.emplace_back(NameOf(c), StdRotor());
            cases.back().second.terms[c].value = bad;
        }
        for (const auto& [name, state] : cases) {
            const Result<Levels> levels = SolveLevels(state, 3, work);
            ASSERT_FALSE(levels);
            EXPECT_EQ(levels.error().code, ErrorCode::OutOfRange);
            EXPECT_EQ(levels.error().subject, name);
        }
    }
}

// Finite constants whose matrix is not, and every sign of nothing, end all the same.
TEST(SolvedLevels, OfExtremeConstantsEndAllTheSame) {
    for (const double extreme : {0.0, -0.0, 1e308, -1e308, 5e-324}) {
        for (const bool is_complex : {false, true}) {
            const State state = StdRotor().Set(Constant::B, extreme).Set(Constant::PX3, extreme);
            EXPECT_EQ(Solve(state, 4, is_complex).max_J, 4);
        }
    }
}

}  // namespace
}  // namespace kiv
