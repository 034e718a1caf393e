#include "lines/Amplitudes.h"

#include <algorithm>
#include <cstddef>

#include "base/ArrayName.h"
#include "base/Failure.h"

namespace kiv {
namespace {

constexpr double kSqrtTwo = 1.41421356237309504880;
constexpr double kSqrtHalf = 0.70710678118654752440;

// What the product of the components of two folded functions stands for: K' > 0 counts twice,
// since -K' contributes the same, and each K other than 0 brings a factor of 1/sqrt(2).
double FoldScale(const SymBlock& to, int K_upper, int K_lower) {
    if (!to.folded) return 1.0;
    if (K_upper > 0) return K_lower != 0 ? 1.0 : kSqrtTwo;
    return K_lower != 0 ? kSqrtHalf : 1.0;
}

}  // namespace

Status Amplitudes::Begin(const Memory& memory, int num, bool is_complex) {
    const int n = VecLd(num);
    for (int type = 0; type < kNumBands; ++type) {
        if (!real[type].Fit(memory, n) || (is_complex && !imag[type].Fit(memory, n))) {
            return NoMemory(array_name::kPairAmplitudes);
        }
        std::fill(real[type].begin(), real[type].end(), 0.0);
        std::fill(imag[type].begin(), imag[type].end(), 0.0);
    }
    return {};
}

Status AmplitudeSums::Begin(const Memory& memory, const LineTask& task) {
    task_ = &task;
    is_complex_ = task.is_complex();
    kept_ = task.lower->kept & task.upper->kept;
    KIV_TRY(lower_.Begin(memory, *task.lower, kept_));
    for (UpperLevels& upper : upper_) KIV_TRY(upper.Begin(memory, *task.upper, kept_));
    const std::int64_t n = 2 * std::int64_t{task.max_J()} + 1;
    const std::int64_t room = RowLd(static_cast<int>(n)) + 3 * kVecStep;
    for (Array<double>* array : {&factors_.level, &factors_.up, &factors_.down}) {
        if (!array->Fit(memory, n)) return NoMemory(array_name::kFactors);
    }
    if (!weight_real_.Fit(memory, kLowers * room) ||
        (is_complex_ && !weight_imag_.Fit(memory, kLowers * room))) {
        return NoMemory(array_name::kWeights);
    }
    if (is_complex_ && !cross_.Fit(memory, room)) return NoMemory(array_name::kWeights);
    for (int type = 0; type < kNumBands; ++type) {
        if (!task.IsActive(type)) continue;
        for (Coupling& coupling : couplings_[type]) {
            KIV_TRY(BeginCoupling(memory, static_cast<BandType>(type), room, coupling));
        }
    }
    return {};
}

Status AmplitudeSums::BeginCoupling(const Memory& memory, BandType type, std::int64_t room,
                                    Coupling& coupling) {
    CoupleRun& run = coupling.run;
    if (!coupling.plus.Fit(memory, room) || !coupling.minus.Fit(memory, room) ||
        !coupling.sum_real.Fit(memory, kLowers * room) ||
        (is_complex_ && !coupling.sum_imag.Fit(memory, kLowers * room))) {
        return NoMemory(array_name::kCouplings);
    }
    for (int l = 0; l < kLowers; ++l) {
        const std::int64_t first = l * room;
        run.re.weight[l] = weight_real_.data() + first;
        run.re.sum[l] = coupling.sum_real.data() + first;
        if (!is_complex_) continue;
        run.im.weight[l] = weight_imag_.data() + first;
        run.im.sum[l] = coupling.sum_imag.data() + first;
    }
    run.is_complex = is_complex_;
    run.turn = type == kBandC;
    run.plus = coupling.plus.data();
    run.cross = cross_.data();
    return {};
}

void AmplitudeSums::SetBranch(int J_lower, int J_upper) {
    J_upper_ = J_upper;
    factors_.Fill(*task_->cosines, J_lower, J_upper);
    lower_.Load(J_lower);
    now_ = &upper_[J_upper % 3];
    now_->Load(J_upper);
    for (int c = 0; c < lower_.num_classes(); ++c) {
        partner_classes_[c] = 0;
        for (int type = 0; type < kNumBands; ++type) SetCoupling(static_cast<BandType>(type), c);
    }
}

void AmplitudeSums::SetCoupling(BandType type, int lower_class) {
    Coupling& coupling = couplings_[type][lower_class];
    coupling.upper_class = -1;
    coupling.num_lowers = 0;
    if (!task_->IsActive(type)) return;
    const SymBlock& from = lower_.Class(lower_class);
    const std::uint8_t odd = (from.odd ^ kMomentOdd[type]) & kept_;
    const ClassLevels& upper = now_->by_class();
    for (int c = 0; c < upper.num_classes(); ++c) {
        if (upper.Class(c).odd != odd) continue;
        coupling.upper_class = c;
        partner_classes_[lower_class] |= 1U << c;
        FillCoupling(type, from, upper.Class(c), coupling);
    }
}

void AmplitudeSums::FillCoupling(BandType type, const SymBlock& from, const SymBlock& to,
                                 Coupling& coupling) {
    const int step = type == kBandA ? 0 : 1;  // K'' - K' of plus
    const double sign = type == kBandB ? -1.0 : 1.0;
    const Array<double>& up = type == kBandA ? factors_.level : factors_.up;
    coupling.shift = (to.K0 + step - from.K0) / to.step;
    CoupleRun& run = coupling.run;
    run.minus = step != 0 ? coupling.minus.data() : nullptr;
    run.lower_ld = VecLd(from.N);
    run.num_rows = to.N;
    run.ld = RowLd(to.N);
    run.back = 2 / to.step;
    std::fill_n(coupling.plus.data(), VecLd(to.N), 0.0);
    std::fill_n(coupling.minus.data(), VecLd(to.N), 0.0);
    // The components m whose partner, of K'' = K' + 1 or K' - 1, is one of the lower level.
    const auto fill = [&](Array<double>& weight, int shift, double factor,
                          const Array<double>& cosines) {
        const int last = std::min(to.N, from.N - shift);
        for (int m = std::max(0, -shift); m < last; ++m) {
            weight[m] = factor * cosines[to.K(m) + J_upper_];
        }
    };
    fill(coupling.plus, coupling.shift, 1.0, up);
    if (step != 0) fill(coupling.minus, coupling.shift - run.back, sign, factors_.down);
    if (!to.folded) return;
    // Where one of the functions is |J,0>, the factors of FoldScale differ from 1.
    const int zero = to.Index(0), one = to.Index(1);
    const int lower = zero + coupling.shift;
    if (zero >= 0 && lower >= 0 && lower < from.N) {
        double& plus = coupling.plus[zero];
        plus *= FoldScale(to, 0, step);
        if (step != 0) {  // K'' = -1 is the function of K'' = 1
            plus += sign * from.T(1) * FoldScale(to, 0, 1) * factors_.down[J_upper_];
        }
    }
    if (zero >= 0) coupling.minus[zero] = 0.0;
    if (one >= 0) coupling.minus[one] *= FoldScale(to, 1, 0);
}

// The sums of a lower level, and of the next ones of its class, with upper levels first..last-1.
void AmplitudeSums::CoupleLevels(Coupling& coupling, int lower_class, int index, int first,
                                 int last) {
    const int c = coupling.upper_class;
    CoupleRun& run = coupling.run;
    coupling.lower = index;
    coupling.num_lowers = std::min(kLowers, lower_.Class(lower_class).N - index);
    coupling.first = first / kVecStep * kVecStep;  // vectors cross no cache line
    coupling.last = last;
    run.num_lowers = coupling.num_lowers;
    run.num = coupling.last - coupling.first;
    run.re.lower = lower_.Real(lower_class, index) + coupling.shift;
    run.re.rows = now_->Real(c) + coupling.first;
    if (is_complex_) {
        run.im.lower = lower_.Imag(lower_class, index) + coupling.shift;
        run.im.rows = now_->Imag(c) + coupling.first;
    }
    Couple(run);
}

bool AmplitudeSums::ImageOf(int lower_class, int upper_class, LevelImage& image) const {
    int num_types = 0;
    for (int type = 0; type < kNumBands; ++type) {
        const Coupling& coupling = couplings_[type][lower_class];
        if (!task_->IsActive(type) || coupling.upper_class != upper_class) continue;
        ++num_types;
        const CoupleRun& run = coupling.run;
        image = {static_cast<BandType>(type),
                 run.plus,
                 run.minus,
                 coupling.shift,
                 run.back,
                 run.num_rows};
    }
    return num_types == 1 && !is_complex_;
}

void AmplitudeSums::SumsOf(int lower_class, int index, int upper_class, int first, int last,
                           ClassSums (&sums)[kLowers]) {
    for (int type = 0; type < kNumBands; ++type) {
        Coupling& coupling = couplings_[type][lower_class];
        if (!task_->IsActive(type) || coupling.upper_class != upper_class) continue;
        CoupleLevels(coupling, lower_class, index, first, last);
        for (int l = 0; l < coupling.num_lowers; ++l) {
            sums[l].real[type] = coupling.Real(l, first);
            if (is_complex_) sums[l].imag[type] = coupling.Imag(l, first);
        }
    }
}

void AmplitudeSums::Compute(int rank, const PartnerList& list, int first, int last,
                            Amplitudes& result) {
    const int c_lower = lower_.ClassOf(rank), index = lower_.IndexOf(rank);
    const int place = list.below[first];
    const int num = VecLd(list.below[last] - place);
    const ClassLevels& upper = now_->by_class();
    for (int type = 0; type < kNumBands; ++type) {
        if (!task_->IsActive(type)) continue;  // has never been anything but 0
        double *real = result.real[type].data(), *imag = result.imag[type].data();
        std::fill_n(real, num, 0.0);
        if (is_complex_) std::fill_n(imag, num, 0.0);
        Coupling& coupling = couplings_[type][c_lower];
        const int c = coupling.upper_class;
        if (c < 0) continue;
        const int j0 = upper.Below(c, first), j1 = upper.Below(c, last);
        if (j0 == j1) continue;
        if (!coupling.Holds(index, j0, j1)) {  // the next levels mostly need one more, each
            const int more = std::min(j1 + kLowers, upper.Class(c).N);
            CoupleLevels(coupling, c_lower, index, j0, more);
        }
        const std::int32_t* places = list.place_of + upper.First(c);
        const auto put = [&](const double* sum, double* out) {
            for (int j = j0; j < j1; ++j) out[places[j] - place] = *sum++;
        };
        put(coupling.Real(index - coupling.lower, j0), real);
        if (is_complex_) put(coupling.Imag(index - coupling.lower, j0), imag);
    }
}

}  // namespace kiv
