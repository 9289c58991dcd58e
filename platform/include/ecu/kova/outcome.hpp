#pragma once

#include <optional>
#include <string>
#include <utility>

namespace ecu::kova {

/// A value, or the text that says why there is none.
template <class T>
class [[nodiscard]] Outcome {
public:
    static Outcome success(T value)
    {
        Outcome outcome;
        outcome.value_ = std::move(value);
        return outcome;
    }
    static Outcome failure(const std::string& error)
    {
        Outcome outcome;
        outcome.error_ = error;
        return outcome;
    }

    explicit operator bool() const { return value_.has_value(); }
    /// Only when true.
    const T& value() const& { return *value_; }
    T&& value() && { return std::move(*value_); }
    /// Empty on success.
    const std::string& error() const { return error_; }

private:
    Outcome() = default;

    std::optional<T> value_;
    std::string error_;
};

} // namespace ecu::kova
