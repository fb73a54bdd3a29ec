// runtime/exception.h : what the runtime libraries throw.
//
// Role:   raised on one side of a library's edge and caught on the other: both classes are exported
//         with their type information in one place, so that a catch clause anywhere knows them.
// Errors: what() is the text for the user, exactly as given.
#pragma once

#include <stdexcept>
#include <string>

#include "runtime/export.h"

namespace com::orvex {

/// A failure of the runtime.
class OV_EXPORT Exception : public std::runtime_error {
 public:
  explicit Exception(const std::string& text);
  Exception(const Exception&) = default;
  Exception& operator=(const Exception&) = default;
  ~Exception() override;
};

/// A failure of reading from or writing to a stream.
class OV_EXPORT StreamException : public Exception {
 public:
  explicit StreamException(const std::string& text);
  StreamException(const StreamException&) = default;
  StreamException& operator=(const StreamException&) = default;
  ~StreamException() override;
};

}  // namespace com::orvex
