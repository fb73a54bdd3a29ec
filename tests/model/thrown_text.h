// model/thrown_text.h : the text of the std::runtime_error that an expression throws.
#pragma once

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <typeinfo>

namespace test_support {

/// Empty, with a failure of the test, when nothing or something else is thrown. The exception's
/// class must be std::runtime_error itself.
template <typename Function>
std::string thrownText(Function&& function) {
  try {
    function();
  } catch (const std::runtime_error& error) {
    EXPECT_EQ(typeid(error), typeid(std::runtime_error));
    return error.what();
  }
  ADD_FAILURE() << "nothing was thrown";
  return {};
}

}  // namespace test_support
