#include "runtime/exception.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace com::orvex {
namespace {

TEST(ExceptionTest, CarriesItsTextAsGiven) {
  EXPECT_STREQ(Exception("100 % of it").what(), "100 % of it");
  EXPECT_STREQ(StreamException("of a stream").what(), "of a stream");
}

TEST(ExceptionTest, IsCaughtAsARuntimeError) {
  EXPECT_THROW(throw Exception("text"), std::runtime_error);
}

TEST(ExceptionTest, AStreamExceptionIsCaughtAsAnException) {
  EXPECT_THROW(throw StreamException("text"), Exception);
}

TEST(ExceptionTest, ACopyHasTheText) {
  const StreamException original("text");
  const StreamException copy = original;

  EXPECT_STREQ(copy.what(), "text");
}

// A catch clause of another library compares type information: the library must export its own.
TEST(ExceptionTest, TypeInformationIsExported) {
  void* const library = dlopen("libovcommon.so", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(library, nullptr);

  EXPECT_NE(dlsym(library, "_ZTIN3com5orvex9ExceptionE"), nullptr);
  EXPECT_NE(dlsym(library, "_ZTIN3com5orvex15StreamExceptionE"), nullptr);

  dlclose(library);
}

}  // namespace
}  // namespace com::orvex
