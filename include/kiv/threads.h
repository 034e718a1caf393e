// Threads that share the parts of a calculation.
#pragma once

#include <functional>
#include <memory>

namespace kiv {

/// The cores that this process may use: those of its affinity, no more than the share of its
/// control group, rounded up. At least 1.
int UsableCores();

/// A number of threads, the caller's among them. The others are started when there is first
/// something to share, and end with the pool; between runs they look out for the next one for a
/// millisecond and then sleep. One caller at a time.
class Threads {
  public:
    /// `num` threads; 1 or less: the caller's alone.
    explicit Threads(int num = 1);
    ~Threads();
    Threads(Threads&&) noexcept;
    Threads& operator=(Threads&&) noexcept;

    int num() const { return num_; }

    /// Calls part(i, thread) once for every i in 0..parts-1, on `thread` 0..num()-1, 0 being the
    /// caller's, and returns when all are done. Parts start in ascending order, so that one may
    /// wait for an earlier one. What a part throws ends the run: no further part starts, and the
    /// first exception is thrown here. Where the system refuses a thread there are fewer.
    void Share(int parts, const std::function<void(int, int)>& part);

  private:
    class Team;
    int num_ = 1;
    std::unique_ptr<Team> team_;
};

}  // namespace kiv
