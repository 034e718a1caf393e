// Measured features, their equations and what a model makes of them.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "fit/Equations.h"
#include "fit/LinearProblem.h"
#include "fit/StateLevels.h"
#include "fit/Transitions.h"
#include "kiv/array.h"
#include "kiv/feature_fit.h"

namespace kiv {

/// Uncertainty that stands for none: the measurement has no weight.
inline constexpr double kNoUncertainty = 1e20;

/// The equations of a fit at the constants of the moment.
class FeatureProblem {
  public:
    FeatureProblem(const Model& model, const Settings& settings,
                   std::span<const LineFeature> features, const FeatureFitOptions& options);

    /// Sets up the equations and takes room for levels and derivatives. NoDifferences;
    /// OutOfRange; NoMemory.
    Status Begin(const Model& model, std::span<const FitParameter> parameters,
                 const Memory& memory);

    /// Solves the levels and sets the misfits. NoMemory; Cancelled.
    Status Solve(const Model& model, Workspace& work, Report& report);

    /// For the levels as they are: weighs the blends, sets the misfits again, says which equations
    /// have lines and fills the derivatives. NoMemory.
    Status Linearise(const Model& model, Workspace& work);

    /// Finds levels by symmetry, as at first, or by energy rank, see StateLevels. NoMemory.
    Status FollowSymmetry(bool follow, Workspace& work);

    /// Fills a problem with the equations that are used. False when only the misfits are other
    /// ones than before. NoMemory.
    Result<bool> Fill(const std::vector<FeatureFate>& fate, const Memory& memory,
                      LinearProblem& problem);

    bool uniform() const { return uniform_; }
    std::size_t size() const { return equations_.list.size(); }
    const Equation& equation(std::size_t e) const { return equations_.list[e]; }
    std::span<const double> misfit() const { return misfit_; }
    std::span<const double> uncertainty() const { return uncertainty_; }  // 1 with uniform weights

    /// Unmatched where a line within a state goes down in energy, which is none; else Used.
    const std::vector<FeatureFate>& open() const { return open_; }

    /// Chi-square of the equations that are used, and how much rounding of the energies changes its
    /// root.
    double ChiSquared(std::span<const FeatureFate> fate) const;
    double Noise(std::span<const FeatureFate> fate) const;

    const FeatureSet& features() const { return features_; }
    double calculated(std::size_t feature) const { return calculated_[feature]; }
    const double* Derivatives(std::size_t feature) const {
        return &derivative_.block()[feature * derivative_.cols()];
    }
    /// The transitions of a feature that has a line.
    std::vector<BlendPart> Parts(std::size_t feature, double origin) const;
    bool HasLine(std::size_t feature) const { return has_line_[feature]; }

    /// Why a feature makes no equation; empty when it makes one.
    std::string Fault(std::size_t feature) const;

  private:
    bool IsOfDifferences() const {
        return options_.data == FitData::LowerDifferences ||
               options_.data == FitData::UpperDifferences;
    }
    Status CheckFeatures() const;
    Status MakeEquations();
    void SetMisfits(double origin);
    void FillDerivatives();
    Status FillRows(const std::vector<FeatureFate>& fate, const Memory& memory,
                    LinearProblem& problem) const;

    const LineRules& rules_;
    const FeatureFitOptions& options_;
    FeatureSet features_;
    Equations equations_;
    std::vector<FitParameter> parameters_;
    bool uniform_ = false;
    std::vector<double> observed_, uncertainty_, misfit_;  // of the equations
    std::vector<FeatureFate> open_;
    StateLevels levels_;
    std::vector<double> calculated_;  // of the features
    std::vector<bool> has_line_;
    bool has_misfits_ = false, has_derivatives_ = false;  // of the levels as they are
    Table<double> derivative_, term_size_;                // of the features
    std::optional<std::vector<FeatureFate>> filled_;  // by which they were filled into a problem
};

}  // namespace kiv
