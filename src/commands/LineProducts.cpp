#include "commands/LineProducts.h"

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>

#include "base/LineKey.h"
#include "job/ObservedLines.h"
#include "named/EnergyUnit.h"
#include "named/NumberText.h"

namespace kiv {
namespace {

constexpr double kRoomTemperature = 300.0;  // of absolute intensities of lines with strengths
constexpr double kComplete = 0.999;

double PerKelvin(EnergyUnit unit) {
    return unit == EnergyUnit::MHz ? kMHzPerKelvin : kWavenumberPerKelvin;
}

double MHzIn(EnergyUnit unit) { return unit == EnergyUnit::MHz ? 1.0 : kMHzPerWavenumber; }

// The model whose moment is on the axes of the basis, in which levels and lines were calculated.
Model InBasis(const Calculation& calculation) {
    Model model = calculation.model;
    const StateIndex frame = model.moment.frame;
    model.moment.component = TurnedMoment(model.moment, calculation.room.turned[frame]);
    for (State& state : model.states) state.tilt = {};
    return model;
}

// Features of lines within state v, as if it were the only one.
std::vector<LineFeature> FeaturesWithin(const std::vector<LineFeature>& features, int v) {
    std::vector<LineFeature> within;
    for (LineFeature feature : features) {
        std::erase_if(feature.transitions, [&](const LineTransition& line) {
            return line.upper.v != v || line.lower.v != v;
        });
        for (LineTransition& line : feature.transitions) line.upper.v = line.lower.v = 0;
        if (!feature.transitions.empty()) within.push_back(std::move(feature));
    }
    return within;
}

std::string Percent(double share) { return ShortestText(std::floor(share * 1e4) / 100.0) + " %"; }

}  // namespace

// A pass of an old input leaves its constants turned.
Model SummedModel(const Job& job, const Calculation& calculation) {
    if (job.form == InputForm::Named) return calculation.model;
    return calculation.fit ? calculation.fit->model : ModelOf(*job.old);
}

Settings SummedSettings(const Job& job, Settings settings, double temperature) {
    settings.lines.temperature = temperature > 0.0 ? temperature : kRoomTemperature;
    settings.lines.energy_per_kelvin = PerKelvin(job.input.unit);
    return settings;
}

void WriteLevels(Sink& sink, const Job& job, const Model& model, const Levels& lower,
                 const Levels& upper, const LineRules& rules, const Predictor* predictor) {
    WriteEgyLevels(sink, ListLevels(model, lower, upper, rules),
                   MHzIn(job.input.unit) / kMHzPerWavenumber, !model.one_state, predictor);
}

Findings DoubtsOf(const Job& job, const Partition& sum, int max_J, double temperature) {
    Findings doubts;
    const std::string at = ShortestText(temperature) + " K";
    std::string text;
    if (sum.turned_over || sum.cut_short) {
        text = "the partition function at " + at +
               " is incomplete: its sum ends at J = " + std::to_string(sum.last_J) +
               ", where levels still count";
    } else if (sum.complete() < kComplete) {
        text = "levels up to J = " + std::to_string(max_J) + " hold " + Percent(sum.complete()) +
               " of the partition function at " + at +
               ", so that lines of higher J are missing; J_max = " + std::to_string(sum.J_needed) +
               " holds 99.9 %";
    } else {
        return doubts;
    }
    doubts.Add(FindingCode::IncompleteQ, job.file, job.input.places.Of("spectrum.J_max"), text);
    return doubts;
}

double LineProducts::MHz() const { return MHzIn(job_.input.unit); }

Status LineProducts::FindWithin() {
    const StateIndex state = *options_.within;
    const Levels& levels = calculation_.room.levels[state];
    Result<LinesWithin> found =
        FindLinesWithin(InBasis(calculation_), state, levels, calculation_.settings.lines,
                        job_.input.spectrum.range, work_, report_);
    if (!found) return found.error();
    within_ = std::move(found).value();
    const double origin = state == kUpper ? calculation_.model.origin.value : 0.0;
    source_.lower = source_.upper = &levels;
    source_.origin = {origin, origin};
    Result<Assignments> assignments = ObservedLines(
        FeaturesWithin(calculation_.features, state == kUpper ? 1 : 0), true, work_.memory());
    if (!assignments) return assignments.error();
    own_assignments_ = std::move(assignments).value();
    return {};
}

// The observed values of the band are those of its text list.
Status LineProducts::Observe() {
    const auto num = static_cast<std::size_t>(lines().size);
    assignments_ = within_ ? &own_assignments_ : &calculation_.assignments;
    if (!within_) {
        if (lines().matched > 0) assignment_of_.assign(num, 0);
        for (std::size_t k = 0; k < static_cast<std::size_t>(lines().matched); ++k) {
            assignment_of_[static_cast<std::size_t>(lines().match_line[k])] =
                lines().match_assignment[k] + 1;
        }
        return {};
    }
    if (own_assignments_.size == 0) return {};
    assignment_of_.assign(num, 0);
    std::int32_t at = 0;  // both are in the order of their keys
    for (std::size_t n = 0; n < num; ++n) {
        const LineView line = lines().Line(static_cast<std::int32_t>(n));
        const std::uint64_t key =
            LineKey(line.lower.J, line.upper.J, line.lower.J + line.lower.Ka - line.lower.Kc,
                    line.upper.J + line.upper.Ka - line.upper.Kc);
        const auto key_at = [&] { return own_assignments_.key[static_cast<std::size_t>(at)]; };
        while (at < own_assignments_.size && key_at() < key) ++at;
        if (at < own_assignments_.size && key_at() == key) assignment_of_[n] = at + 1;
    }
    return {};
}

Status LineProducts::SumQ() {
    const Settings settings =
        SummedSettings(job_, calculation_.settings, calculation_.settings.lines.temperature);
    temperature_ = settings.lines.temperature;
    if (options_.Q) {
        Q_ = *options_.Q;
        return {};
    }
    PartitionOptions options;
    if (job_.form == InputForm::Named || !calculation_.fit) {  // the levels are those of the model
        options.levels[kLower] = &calculation_.room.lower();
        options.levels[kUpper] = &calculation_.room.upper();
    }
    const Result<Partition> sum =
        SumPartition(SummedModel(job_, calculation_), settings, work_, options);
    if (!sum) return sum.error();
    partition_ = sum.value();
    Q_ = partition_->Q;
    return {};
}

Status LineProducts::PrepareLines(bool makes_cat) {
    const PassRoom& room = calculation_.room;
    if (makes_cat && room.lower().max_J > kMostCatQuantum) {
        return Error{ErrorCode::OutOfRange,
                     "a .cat file has no text for quantum numbers above " +
                         std::to_string(kMostCatQuantum) + ", and J_max is " +
                         std::to_string(room.lower().max_J) + "; lower J_max or export csv",
                     "J_max"};
    }
    source_.lower = &room.lower();
    source_.upper = &room.upper();
    source_.rules = calculation_.settings.lines;
    source_.zero = LowestEnergy(calculation_.model, room.lower(), room.upper());
    source_.origin = {0.0, calculation_.model.one_state ? 0.0 : calculation_.model.origin.value};
    const Model in_basis = InBasis(calculation_);
    source_.moment = in_basis.moment.component;
    if (options_.within) KIV_TRY(FindWithin());
    source_.lines = &lines();
    if (within_) {
        source_.strength = within_->strength.Part(0, static_cast<std::size_t>(lines().size));
    } else if (HasFaintLines(source_)) {
        Result<Array<float>> strength = FindStrengths(in_basis, source_, work_, report_);
        if (!strength) return strength.error();
        strength_ = std::move(strength).value();
        source_.strength = strength_.Part(0, static_cast<std::size_t>(lines().size));
    }
    KIV_TRY(Observe());
    return SumQ();
}

Status LineProducts::PrepareFit() {
    if (!calculation_.fit || !job_.is_fit()) return {};
    const Levels* levels[kNumStates] = {&calculation_.room.lower(), &calculation_.room.upper()};
    if (job_.form == InputForm::Old) {
        const Model& model = calculation_.fit->model;
        for (const StateIndex state : {kLower, kUpper}) {
            if (state == kUpper && model.one_state) continue;
            Result<Levels> solved =
                SolveLevels(model.states[state], calculation_.settings.max_J, work_);
            if (!solved) return solved.error();
            fit_levels_[state] = std::move(solved).value();
        }
        levels[kLower] = &*fit_levels_[kLower];
        levels[kUpper] = model.one_state ? levels[kLower] : &*fit_levels_[kUpper];
    }
    predictor_.emplace(*calculation_.fit, *levels[kLower], *levels[kUpper]);
    return {};
}

Result<std::int32_t> LineProducts::VisitLines(
    CatalogOrder order, const std::function<std::int32_t(const LineTable&)>& visit) {
    const bool in_wavenumbers = !HasRoomInMHz(lines(), MHz());
    const double unit = in_wavenumbers ? MHz() / kMHzPerWavenumber : MHz();
    const Result<Catalog> catalog = Catalog::From(source_, order, kCatStep / unit, work_);
    if (!catalog) return catalog.error();
    const AbsoluteIntensity absolute(temperature_ * PerKelvin(job_.input.unit), Q_, MHz());
    LineTable table{catalog.value(), absolute};
    table.MHz = MHz();
    table.wavenumbers = MHz() / kMHzPerWavenumber;
    table.in_wavenumbers = in_wavenumbers;
    table.two_states = !calculation_.model.one_state;
    table.v_upper = options_.within.value_or(table.two_states ? kUpper : kLower);
    table.v_lower = options_.within.value_or(kLower);
    table.has_moment = has_moment();
    table.min_lgint = options_.min_lgint;
    table.predictor = predictor();
    table.assignments = assignments_;
    table.assignment_of = assignment_of_;
    table.tag = options_.tag;
    return visit(table);
}

Result<std::int32_t> LineProducts::WriteCsv(Sink& sink) {
    return VisitLines(CatalogOrder::Calculated, [&](const LineTable& table) {
        return WriteCsvLines(sink, table, &work_.threads());
    });
}

Result<std::int32_t> LineProducts::WriteCat(Sink& sink) {
    return VisitLines(CatalogOrder::Printed, [&](const LineTable& table) {
        return WriteCatLines(sink, table, &work_.threads());
    });
}

void LineProducts::WriteEgy(Sink& sink) {
    WriteLevels(sink, job_, calculation_.model, calculation_.room.lower(),
                calculation_.room.upper(), calculation_.settings.lines, predictor());
}

Findings LineProducts::Doubts() const {
    Findings doubts;
    if (!has_moment()) {
        doubts.Add(FindingCode::NoMoment, job_.file, job_.input.places.Of("moment"),
                   "the input has no moment; intensities are those of 1 debye on each axis");
    }
    const bool is_told = std::any_of(
        job_.findings.begin(), job_.findings.end(),
        [](const Finding& finding) { return finding.code == FindingCode::IncompleteQ; });
    if (!partition_ || is_told) return doubts;
    doubts.Append(DoubtsOf(job_, *partition_, calculation_.settings.max_J, temperature_));
    return doubts;
}

}  // namespace kiv
