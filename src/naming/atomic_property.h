#pragma once

#include <mutex>
#include <utility>

namespace premoov {

// A property whose single reads and writes are whole, as those of an Objective-C atomic property
// are: a get answers a copy made under the property's lock, a set replaces the value under it
// (the old value is destroyed after the lock is let go). A get and a concurrent set of the same
// property therefore never see half a value; a sequence of calls is not made atomic.
template <typename T>
class AtomicProperty {
 public:
  AtomicProperty() = default;
  explicit AtomicProperty(T value) : value_(std::move(value)) {}
  AtomicProperty(const AtomicProperty& other) : value_(other.get()) {}
  AtomicProperty& operator=(const AtomicProperty& other) {
    if (this != &other) set(other.get());
    return *this;
  }

  T get() const {
    std::lock_guard lock(mutex_);
    return value_;
  }

  void set(T value) {
    {
      std::lock_guard lock(mutex_);
      std::swap(value_, value);
    }
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace premoov
