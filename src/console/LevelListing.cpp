#include "console/LevelListing.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <span>

#include "console/Listings.h"
#include "levels/Terms.h"

namespace kiv {
namespace {

// K' = -J..J a line each: the real parts, or the imaginary parts as entered (row K+d, column K
// holds +element).
void ListMatrix(Console& log, const Hamiltonian& H, int J, bool imaginary) {
    for (int row = -J; row <= J; ++row) {
        for (int col = -J; col <= J; ++col) {
            const int dk = std::abs(row - col);
            double element = 0.0;
            if (dk <= kMaxDk) element = H.Element(J, std::min(row, col), dk, imaginary);
            log.Log("%15.5lf", imaginary && row < col ? -element : element);
        }
        log.Log("\n");
    }
}

void ListMatrices(Console& log, const Hamiltonian& H, int J) {
    if (!H.is_complex) {
        log.Log("\nHAM MATRIX J = %d\n", J);
        ListMatrix(log, H, J, false);
        log.Log("\n");
        return;
    }
    log.Log("\nHAM REAL MATRIX J = %d\n", J);
    ListMatrix(log, H, J, false);
    log.Log("HAM IMAG MATRIX J = %d\n", J);
    ListMatrix(log, H, J, true);
    log.FlushLog();
}

struct DerivativeColumn {
    Constant constant;
    const char* label;
    const char* end;
};

constexpr DerivativeColumn kRealColumns[] = {
    {Constant::PX, "PX", "   "}, {Constant::PZ, "PZ", "   "}, {Constant::PXPZ, "PXPZ", "   "},
    {Constant::DK, "DK", "   "}, {Constant::DJ, "DJ", "   "}, {Constant::PZ3, "PZ3", ""},
};

constexpr DerivativeColumn kComplexColumns[] = {
    {Constant::PX, "PX", "   "},       {Constant::PY, "PY", "   "},
    {Constant::PZ, "PZ", "   "},       {Constant::PXPY, "PXPY", "   "},
    {Constant::PXPZ, "PXPZ", "   "},   {Constant::PYPZ, "PYPZ", "   "},
    {Constant::DJ, "DJ", "   "},       {Constant::PZ3, "PZ3", "   "},
    {Constant::PZ5, "PZ5", "   "},     {Constant::PZ2PX, "PZ2PX", "   "},
    {Constant::PZ2PY, "PZ2PY", "   "}, {Constant::PX2PZ, "PX2PZ", "   "},
    {Constant::PY2PZ, "PY2PZ", "   "},
};

// The derivatives of one J.
class DerivativeListing {
  public:
    DerivativeListing(Console& console, const ListedState& state, const Levels& levels, int J)
        : log_(console), state_(state), turned_(*state.turned), levels_(levels), J_(J) {}

    void List() const;

  private:
    void ListRecord(int rank) const;
    void ListColumns(int rank, std::span<const DerivativeColumn> columns) const;
    std::optional<double> DerivativeOf(int rank, Constant c) const;
    double TurnedExpectation(int rank, Constant c) const;
    double EnergyFrom(std::span<const double> record) const;

    Console& log_;
    const ListedState& state_;
    const TurnedState& turned_;
    const Levels& levels_;
    const int J_;
};

void DerivativeListing::List() const {
    const char* const name = state_.is_complex ? "IDevCalc" : "RDevCalc";
    const auto& flag = turned_.from_turn.values;
    const bool is_turned_back = std::find(flag.begin(), flag.end(), true) != flag.end();
    log_.Enter(name);
    for (int rank = 0; rank <= 2 * J_; ++rank) {
        if (is_turned_back) {
            log_.Enter("DevBackRotation");
            log_.Exit("DevBackRotation");
        }
        if (log_.DebugIsOn(DebugPart::Levels)) ListRecord(rank);
    }
    log_.Exit(name);
}

void DerivativeListing::ListRecord(int rank) const {
    const std::span<const double> record = levels_.Derivatives(J_, rank);
    const auto entry = static_cast<long long>(Levels::Index(J_, rank)) * levels_.num_derivatives;
    if (state_.is_complex) {
        log_.Log("\nDV_CT=%lld NO_DVS=%d ", entry, levels_.num_derivatives);
        log_.Log("J> %d R> %d ", J_, rank);
        ListColumns(rank, kComplexColumns);
    } else {
        log_.Log("\nJ> %d R> %d ", J_, rank);
        log_.Log("PZ**2> %lf   ", record[0]);
        log_.Log("PX**2> %lf   PY**2> %lf   ", record[1], record[2]);
        ListColumns(rank, kRealColumns);
    }
    log_.Log("HAM ERG = %lf DER ERG = %lf\n", levels_.Energy(J_, rank), EnergyFrom(record));
    log_.Log("DEV_CT[ %d ] = %lld\n", static_cast<int>(state_.index), entry);
    std::fflush(stdout);
}

void DerivativeListing::ListColumns(int rank, std::span<const DerivativeColumn> columns) const {
    for (const DerivativeColumn& column : columns) {
        const std::optional<double> derivative = DerivativeOf(rank, column.constant);
        if (derivative) log_.Log("%s> %lf%s", column.label, *derivative, column.end);
    }
    log_.Log("\n");
}

// Of a constant that is switched on; of real states also that of PXPZ when the rotation produced
// it, which has no place in the record.
std::optional<double> DerivativeListing::DerivativeOf(int rank, Constant c) const {
    for (int i = 0; i < levels_.num_derivatives; ++i) {
        const auto slot = static_cast<std::size_t>(i);
        if (levels_.derivative_of[slot] == c) return levels_.Derivatives(J_, rank)[slot];
    }
    if (state_.is_complex || !turned_.from_turn[c]) return std::nullopt;
    return TurnedExpectation(rank, c);
}

// The expectation value of an operator of steps d > 0: 2 sum_K v(K+d) <K+d|Op|K> v(K).
double DerivativeListing::TurnedExpectation(int rank, Constant c) const {
    const auto vector = levels_.Vector(J_, rank);
    const double X = double(J_) * (J_ + 1);
    double sum = 0.0;
    for (const HamTerm& term : HamTerms()) {
        if (term.constant != c) continue;
        for (int K = -J_; K <= J_ - term.dk; ++K) {
            const auto at = static_cast<std::size_t>(K + J_);
            const auto above = at + static_cast<std::size_t>(term.dk);
            sum += 2.0 * vector[above].real() * term.factor(X, K) * LadderRoot(J_, K, term.dk) *
                   vector[at].real();
        }
    }
    return sum;
}

// The energy from the derivatives, with the unturned A, B, C.
double DerivativeListing::EnergyFrom(std::span<const double> record) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < 3; ++i) sum += turned_.given[i] * record[i];
    for (std::size_t i = 3; i < record.size(); ++i) {
        sum += turned_.value[levels_.derivative_of[i]] * record[i];
    }
    return sum;
}

bool IsWithin(const ListedRange& range, int J) { return J >= range.first && J <= range.last; }

}  // namespace

void ListLevels(Console& console, const InputFile& file, const ListedState& state,
                const Levels& levels, int J) {
    if (console.DebugIsOn(DebugPart::Levels)) {
        ListMatrices(console, {state.turned, state.is_complex}, J);
    }
    DerivativeListing(console, state, levels, J).List();
    if (IsWithin(file.listed_energies, J)) ListEnergies(console, levels, J);
    if (!state.is_complex && IsWithin(file.listed_vectors, J)) ListVectors(console, levels, J);
}

}  // namespace kiv
