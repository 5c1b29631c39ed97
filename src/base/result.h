#pragma once

#include <string>
#include <utility>
#include <variant>

namespace premoov {

// The failure side of a Result: a message meant for a person.
struct Unexpected {
  std::string message;
};

inline Unexpected unexpected(std::string message) { return Unexpected{std::move(message)}; }

// A value or the message that says why there is none; the member names follow std::expected.
template <typename T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::move(value)) {}
  Result(Unexpected failure) : state_(std::move(failure)) {}

  bool has_value() const { return state_.index() == 0; }
  explicit operator bool() const { return has_value(); }
  T& value() { return std::get<0>(state_); }
  const T& value() const { return std::get<0>(state_); }
  T& operator*() { return value(); }
  const T& operator*() const { return value(); }
  T* operator->() { return &value(); }
  const T* operator->() const { return &value(); }
  const std::string& error() const { return std::get<1>(state_).message; }

 private:
  std::variant<T, Unexpected> state_;
};

}  // namespace premoov
