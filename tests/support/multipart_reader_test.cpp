#include "support/multipart_reader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace test_support {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kType[] = "multipart/form-data; boundary=\"b\"";
constexpr char kField[] = "--b\r\nContent-Disposition: form-data; name=\"n\"\r\n\r\nv";

std::string failure(const std::string& body, const char* type = kType) {
  try {
    readMultipart(type, body);
  } catch (const MalformedMultipart& failed) {
    return failed.what();
  }
  return "read";
}

TEST(MultipartReaderTest, ReadsFieldsAndFiles) {
  std::string body = kField;
  body +=
      "\r\n--b\r\nContent-Disposition: form-data; name=\"f\"; "
      "filename=\"a.txt\"\r\nContent-Type: text/plain\r\n\r\n\r\n--c\r\n--b--\r\n";

  EXPECT_THAT(readMultipart(kType, body),
              ElementsAre(MultipartPart{"n", std::nullopt, std::nullopt, "v"},
                          MultipartPart{"f", "a.txt", "text/plain", "\r\n--c"}));
}

TEST(MultipartReaderTest, ReadsAFormWithoutFields) {
  EXPECT_THAT(readMultipart(kType, "\r\n--b--\r\n"), IsEmpty());
}

TEST(MultipartReaderTest, RefusesBodiesOutOfForm) {
  const std::string field = kField;

  EXPECT_EQ(failure(field + "\r\n--b--\r\n"), "read");
  EXPECT_EQ(failure(""), "no first part");
  EXPECT_EQ(failure("preamble\r\n" + field + "\r\n--b--\r\n"), "no first part");
  EXPECT_EQ(failure(field), "part without an end");
  EXPECT_EQ(failure(field + "\r\n--b--"), "bad end of a part");
  EXPECT_EQ(failure(field + "\r\n--b--\r\nepilogue"), "bad end of a part");
  EXPECT_EQ(failure(field + "\r\n--b \r\n"), "bad end of a part");
}

TEST(MultipartReaderTest, RefusesPartHeadersOutOfForm) {
  const auto headers = [](const std::string& lines) {
    return failure("--b\r\n" + lines + "\r\n\r\n\r\n--b--\r\n");
  };
  const std::string name = "Content-Disposition: form-data; name=\"n\"";

  EXPECT_EQ(headers(name), "read");
  EXPECT_EQ(headers("Content-Type: text/plain"), "no Content-Disposition");
  EXPECT_EQ(headers("Content-Disposition: form-data"), "no name");
  EXPECT_EQ(headers("Content-Disposition: form-data; name=\"n"), "name without an end");
  EXPECT_EQ(headers(name + "; x=\"y\""), "text behind the name");
  EXPECT_EQ(headers(name + "; filename=\"f"), "file name without an end");
  EXPECT_EQ(headers(name + "; filename=\"f\"; x=\"y\""), "text behind the file name");
  EXPECT_EQ(headers(name + "\nX: y"), "line break inside a header");
  EXPECT_EQ(headers(name + "\r\nX: y"), "unexpected header");
  EXPECT_EQ(headers(name + "\r\n" + name), "unexpected header");
  EXPECT_EQ(failure("--b\r\n" + name + "\r\n--b--\r\n"), "headers without an end");
}

TEST(MultipartReaderTest, RefusesContentTypesOutOfForm) {
  EXPECT_EQ(boundaryOf("multipart/form-data; boundary=\"a b\""), "a b");
  EXPECT_EQ(failure("", "multipart/form-data"), "no boundary");
  EXPECT_EQ(failure("", "multipart/form-data; boundary=b"), "no boundary");
  EXPECT_EQ(failure("", "multipart/form-data; boundary=\"\""), "bad boundary");
  EXPECT_EQ(failure("", "multipart/form-data; boundary=\"b\"; x"), "bad boundary");
  EXPECT_EQ(failure("", "multipart/form-data; boundary=\"b"), "boundary without an end");
}

}  // namespace
}  // namespace test_support
