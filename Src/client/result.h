#ifndef CLIENT_RESULT_H_
#define CLIENT_RESULT_H_

#include <cstdlib>
#include <utility>
#include <variant>

#include "client/error.h"

namespace kesu {

/// A value, or the error that came in its place.
template <typename T>
class Result {
 public:
  Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
  Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}
  /// Makes the value in its place, for those that cannot be moved.
  template <typename... Arguments>
  explicit Result(std::in_place_t, Arguments&&... arguments)
      : content_(std::in_place_index<0>, std::forward<Arguments>(arguments)...) {}

  explicit operator bool() const { return content_.index() == 0; }

  /// Where there is no value, these end the process.
  const T& operator*() const { return *Value(&content_); }
  const T* operator->() const { return Value(&content_); }
  T& operator*() { return *Value(&content_); }
  T* operator->() { return Value(&content_); }

  /// That of a value has the kind kNone.
  const Error& error() const {
    static const Error kNoError;
    const Error* error = std::get_if<1>(&content_);
    return error == nullptr ? kNoError : *error;
  }

 private:
  template <typename Content>
  static auto* Value(Content* content) {
    auto* value = std::get_if<0>(content);
    if (value == nullptr) std::abort();
    return value;
  }

  std::variant<T, Error> content_;
};

}  // namespace kesu

#endif  // CLIENT_RESULT_H_
