// Errors as values: what went wrong, named, in place of an exception or an exit.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace kiv {

enum class ErrorCode : std::uint8_t {
    NoMemory,          // a request was refused; `subject` names the array
    OutOfRange,        // a size, a temperature or a constant that cannot be calculated with
    BadChoice,         // a setting outside its values
    NoLines,           // the rules leave no line
    TooFewLines,       // fewer measured lines than constants to fit
    NegativeConstant,  // a fit made A, B or C negative or not a number; `subject` names it
    NotConverged,      // the singular value decomposition of a fit
    NoDifferences,     // no two measured lines share a level
    BadInput,          // an input or line file that cannot be used
    Truncated,         // a file that ends within a record
    CannotRead,
    CannotWrite,
    Cancelled  // the Report asked to stop
};

/// Why a call has no result.
struct Error {
    ErrorCode code = ErrorCode::BadInput;
    std::string text;     // one sentence that names what was wrong
    std::string subject;  // the array, constant, file or setting it is about; may be empty
};

/// A value or the error in its place.
template <class T>
class [[nodiscard]] Result {
  public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

    bool ok() const { return content_.index() == 0; }
    explicit operator bool() const { return ok(); }

    /// The value; only when ok().
    T& value() & { return *std::get_if<0>(&content_); }
    const T& value() const& { return *std::get_if<0>(&content_); }
    T&& value() && { return std::move(*std::get_if<0>(&content_)); }

    /// The error; only when not ok().
    const Error& error() const { return *std::get_if<1>(&content_); }

  private:
    std::variant<T, Error> content_;
};

/// Success, or the error of a call that returns nothing else.
class [[nodiscard]] Status {
  public:
    Status() = default;
    Status(Error error) : error_(std::move(error)) {}

    bool ok() const { return !error_; }
    explicit operator bool() const { return ok(); }
    const Error& error() const { return *error_; }

  private:
    std::optional<Error> error_;
};

}  // namespace kiv

/// Passes the error of a Status or Result on to the caller.
#define KIV_TRY(call)                                                              \
    do {                                                                           \
        if (auto kiv_status = (call); !kiv_status.ok()) return kiv_status.error(); \
    } while (false)
