#include "runtime/exception.h"

namespace com::orvex {

Exception::Exception(const std::string& text) : std::runtime_error(text) {}

Exception::~Exception() = default;

StreamException::StreamException(const std::string& text) : Exception(text) {}

StreamException::~StreamException() = default;

}  // namespace com::orvex
