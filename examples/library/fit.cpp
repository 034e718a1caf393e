// Fits the constants of SO2 to measured lines: fit examples/so2/so2.asn
#include "kiv/fit.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

#include "kiv/files.h"

namespace {

using kiv::Constant;

// Tells how far the fit is.
class Cycles : public kiv::Report {
    void Progress(kiv::Stage stage, int done, int all) override {
        if (stage == kiv::Stage::FitCycle) std::printf("cycle %d of %d\n", done, all);
    }
};

// Rough constants in MHz and no distortion, all of them varied.
kiv::Model Start() {
    kiv::Model model;
    model.one_state = true;
    model.lower() = kiv::State::Rigid(60840.0, 10328.0, 8808.0);
    for (const Constant c : {Constant::A, Constant::B, Constant::C, Constant::DK, Constant::DJK,
                             Constant::DJ, Constant::dK, Constant::dJ}) {
        kiv::Term& term = model.lower().terms[c];
        term.on = term.fit = true;
    }
    return model;
}

double Misfit(const kiv::FitResidual& line) { return line.observed - line.calculated; }

int Fail(const kiv::Error& error) {
    std::fprintf(stderr, "fit: %s\n", error.text.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    std::ifstream file(argc > 1 ? argv[1] : "so2.asn", std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    kiv::Workspace work;
    const auto measured = kiv::ReadAssignmentFile(text, {}, work.memory());
    if (!measured) return Fail(measured.error());

    kiv::Settings settings;
    settings.max_J = 40;
    settings.fit.data = kiv::FitData::OneState;
    settings.fit.weights = kiv::FitWeights::Uncertainties;
    settings.fit.cycles = 4;
    Cycles cycles;
    const auto result =
        kiv::RunFit(Start(), settings, measured.value(), kiv::LineChoice::Assigned, work, cycles);
    if (!result) return Fail(result.error());

    const kiv::FitResult& fit = result.value();
    for (const kiv::FitParameter& p : fit.parameters) {
        std::printf("%-9s %15.7f +- %.7f\n", p.Name().c_str(), p.value, p.sd);
    }
    double worst = 0.0;
    for (const kiv::FitResidual& line : fit.residuals) {
        if (std::fabs(Misfit(line)) > std::fabs(worst)) worst = Misfit(line);
    }
    std::printf("%d lines, rms %.4f, worst %.4f MHz\n", static_cast<int>(fit.used), fit.rms, worst);
    return 0;
}
