// metrics/ewma.h : an exponentially weighted moving average.
//
// Threads: one at a time.
// Errors:  the constructors throw std::runtime_error "EWMA coefficient must be between 0 and 1
//          (exclusive)".
#pragma once

#include <stdexcept>

namespace com::corvane::connectivity::plugins {

class Ewma {
 public:
  /// The weight of a new sample against all earlier ones. Without a sample so far.
  explicit Ewma(double coefficient) : Ewma(coefficient, 0) {}

  /// Begins with a value; 0 stands for no sample so far.
  Ewma(double coefficient, double value) : coefficient_(coefficient), value_(value) {
    if (!(coefficient > 0 && coefficient < 1)) {  // so that what is no number is refused as well
      throw std::runtime_error("EWMA coefficient must be between 0 and 1 (exclusive)");
    }
  }

  /// The first sample, and one that finds the average at exactly 0, becomes the average.
  void add(double sample) {
    value_ = value_ == 0 ? sample : (1 - coefficient_) * value_ + coefficient_ * sample;
  }

  double value() const { return value_; }

 private:
  double coefficient_;
  double value_;
};

}  // namespace com::corvane::connectivity::plugins
