#include "http/form_payload.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "http/form_messages.h"
#include "model/host_made.h"
#include "support/fake_host.h"
#include "support/multipart_reader.h"

namespace com::corvane::connectivity::plugins {
namespace {

using connectivity10_15_0::get;
using Poco::Net::HTMLForm;
using test_support::MultipartPart;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr char kNoFileName[] =
    "<category> {0} Can't find filename in the form metadata. Data will be send as a string not as "
    "a binary payload";

RequestDetails detailsOf(map_t fields, const char* contentType = nullptr, map_t form = {},
                         const char* method = "POST") {
  TextMap headers;
  if (contentType != nullptr) headers.insert("content-type", contentType);
  return RequestDetails(data_t(std::move(fields)), data_t(1), data_t(method), data_t("/"),
                        std::move(headers), {}, {}, data_t(std::move(form)), 0);
}

// The one field that a form gives a head.
std::string typeIn(const RequestHead& head) {
  EXPECT_EQ(head.fields().size(), 1u);
  EXPECT_EQ(head.fields().at(0).name, "Content-Type");
  return std::string(head.fields().at(0).value);
}

class FormPayloadTest : public testing::Test {
 protected:
  /// What a POST of the record carries; its content type is in type_.
  std::string written(const RequestDetails& details) {
    HTMLForm form(formEncoding(details));
    fillForm(form, details, keys_, logger_);
    RequestHead head;
    head.begin("POST", "/");
    const std::uint64_t length = prepareForm(form, head);
    std::ostringstream body;
    form.write(body);
    EXPECT_EQ(body.str().size(), length);
    EXPECT_EQ(head.target(), "/");
    type_ = typeIn(head);
    return body.str();
  }

  std::vector<MultipartPart> parts(map_t fields, map_t form = {}) {
    const std::string body =
        written(detailsOf(std::move(fields), "multipart/form-data", std::move(form)));
    return test_support::readMultipart(type_, body);
  }

  /// The target of a request with the record's method once its form is prepared.
  std::string preparedTarget(const RequestDetails& details, const char* target) {
    HTMLForm form(formEncoding(details));
    fillForm(form, details, keys_, logger_);
    RequestHead head;
    head.begin(get<const char*>(details.method), target);
    prepareForm(form, head);
    type_ = typeIn(head);
    return std::string(head.target());
  }

  std::string failure(const RequestDetails& details) {
    try {
      written(details);
    } catch (const std::runtime_error& failed) {
      return failed.what();
    }
    return "written";
  }

  test_support::FakeHost host_;
  connectivity10_15_0::Logger log_{"category"};
  const ThreadLogger logger_{log_, 0};
  const MessageKeys keys_;
  std::string type_;
};

TEST_F(FormPayloadTest, IsMultipartForExactlyThatContentType) {
  const auto encoding = [](const char* contentType) {
    return formEncoding(detailsOf({}, contentType));
  };

  EXPECT_EQ(encoding("multipart/form-data"), HTMLForm::ENCODING_MULTIPART);
  for (const char* other : {"Multipart/form-data", "multipart/form-data ", "text/plain", "",
                            "multipart/form-data; boundary=b", "multipart/form-data;"}) {
    EXPECT_EQ(encoding(other), HTMLForm::ENCODING_URL) << other;
  }
  EXPECT_EQ(encoding(nullptr), HTMLForm::ENCODING_URL);
}

TEST_F(FormPayloadTest, EncodesNamesAndValuesForAUrl) {
  const std::string body = written(detailsOf(textMap({{"a b\r\n", "c&d=\"\xC3\xA9%+~-_."}})));

  EXPECT_EQ(body, "a%20b%0D%0A=c%26d%3D%22%C3%A9%25%2B~-_.");
  EXPECT_EQ(type_, "application/x-www-form-urlencoded");
}

TEST_F(FormPayloadTest, LeavesBuffersOutOfAUrlEncodedForm) {
  map_t fields = textMap({{"a", "1"}});
  fields.insert(data_t("b"), bufferValue("bytes"));

  EXPECT_EQ(written(detailsOf(std::move(fields))), "a=1");
}

TEST_F(FormPayloadTest, WritesNothingForAnEmptyUrlEncodedForm) {
  EXPECT_EQ(written(detailsOf({})), "");
  EXPECT_EQ(type_, "application/x-www-form-urlencoded");
}

TEST_F(FormPayloadTest, WritesNoPartForAnEmptyMultipartForm) { EXPECT_THAT(parts({}), IsEmpty()); }

TEST_F(FormPayloadTest, WritesStringsAsPlainFields) {
  EXPECT_THAT(
      parts(textMap({{"a", "1"}, {"", "no name"}, {"b", ""}})),
      UnorderedElementsAre(MultipartPart{"a", {}, {}, "1"}, MultipartPart{"", {}, {}, "no name"},
                           MultipartPart{"b", {}, {}, ""}));
  EXPECT_THAT(host_.texts(), IsEmpty());
}

TEST_F(FormPayloadTest, KeepsFieldsWhoseNamesDifferInCaseOnly) {
  EXPECT_THAT(
      parts(textMap({{"a", "1"}, {"A", "2"}})),
      UnorderedElementsAre(MultipartPart{"a", {}, {}, "1"}, MultipartPart{"A", {}, {}, "2"}));
}

TEST_F(FormPayloadTest, DescribesABufferAsItsMetadataSays) {
  const std::string bytes("\0\r\n\xFF--", 6);

  EXPECT_THAT(
      parts(
          fieldMap("f", bufferValue(bytes)),
          formOf("f", {{"filename", "a.txt"}, {"contentType", "text/plain"}, {"charset", "x-y"}})),
      ElementsAre(MultipartPart{"f", "a.txt", "text/plain; charset=x-y", bytes}));
  EXPECT_THAT(host_.texts(), IsEmpty());
}

TEST_F(FormPayloadTest, WritesABufferOfNoFileNameAsAPartWithoutOneAndWarns) {
  EXPECT_THAT(parts(fieldMap("f", bufferValue("x")), formOf("f", {{"contentType", "image/png"}})),
              ElementsAre(MultipartPart{"f", {}, "image/png", "x"}));
  EXPECT_THAT(host_.textsAt(3), ElementsAre(kNoFileName));
}

TEST_F(FormPayloadTest, TakesAnEmptyFileNameForNone) {
  EXPECT_THAT(parts(fieldMap("f", bufferValue("x")), formOf("f", {{"filename", ""}})),
              ElementsAre(MultipartPart{"f", {}, "application/octet-stream", "x"}));
  EXPECT_THAT(host_.textsAt(3), ElementsAre(kNoFileName));
}

TEST_F(FormPayloadTest, DescribesABufferWithoutMetadataAsBytes) {
  const MultipartPart part{"f", {}, "application/octet-stream", "x"};

  EXPECT_THAT(parts(fieldMap("f", bufferValue("x"))), ElementsAre(part));
  EXPECT_THAT(parts(fieldMap("f", bufferValue("x")), formOf("g", {{"filename", "other"}})),
              ElementsAre(part));
  RequestDetails noForm = detailsOf(fieldMap("f", bufferValue("x")), "multipart/form-data");
  noForm.form = data_t();
  const std::string body = written(noForm);
  EXPECT_THAT(test_support::readMultipart(type_, body), ElementsAre(part));
  EXPECT_THAT(host_.textsAt(3), ElementsAre(kNoFileName, kNoFileName, kNoFileName));
}

TEST_F(FormPayloadTest, AddsACharsetToTheDefaultTypeToo) {
  EXPECT_THAT(parts(fieldMap("f", bufferValue("x")),
                    formOf("f", {{"filename", "n"}, {"contentType", ""}, {"charset", "utf-8"}})),
              ElementsAre(MultipartPart{"f", "n", "application/octet-stream; charset=utf-8", "x"}));
}

TEST_F(FormPayloadTest, AddsNoEmptyCharset) {
  EXPECT_THAT(parts(fieldMap("f", bufferValue("x")),
                    formOf("f", {{"filename", "n"}, {"contentType", "a/b"}, {"charset", ""}})),
              ElementsAre(MultipartPart{"f", "n", "a/b", "x"}));
}

TEST_F(FormPayloadTest, FindsTheMetadataOfAFieldWhoseNameIsBorrowed) {
  map_t fields;
  fields.insert(test_support::borrowed("f"), bufferValue("x"));

  EXPECT_THAT(parts(std::move(fields), formOf("f", {{"filename", "n"}})),
              ElementsAre(MultipartPart{"f", "n", "application/octet-stream", "x"}));
}

TEST_F(FormPayloadTest, LetsNoTextEndItsPartHeader) {
  map_t fields = textMap({{"p\"; x=\"y\r\n\r\nbody", "v"}});
  fields.insert(data_t("f\r\nX: \"y\""), bufferValue("x"));

  EXPECT_THAT(parts(std::move(fields), formOf("f\r\nX: \"y\"", {{"filename", "\"\r\n--n.txt"},
                                                                {"contentType", "a/b\r\nX: y"},
                                                                {"charset", "u\r\n\r\nv"}})),
              ElementsAre(MultipartPart{"p%22; x=%22ybody", {}, {}, "v"},
                          MultipartPart{"fX: %22y%22", "%22--n.txt", "a/bX: y; charset=uv", "x"}));
}

TEST_F(FormPayloadTest, TakesMetadataOfLineBreaksAloneForNone) {
  EXPECT_THAT(
      parts(fieldMap("f", bufferValue("x")),
            formOf("f", {{"filename", "\r\n"}, {"contentType", "\r\n"}, {"charset", "\n"}})),
      ElementsAre(MultipartPart{"f", {}, "application/octet-stream", "x"}));
  EXPECT_THAT(host_.textsAt(3), ElementsAre(kNoFileName));
}

TEST_F(FormPayloadTest, SendsNamesInUtf8AsTheyAre) {
  EXPECT_THAT(
      parts(fieldMap("\xC3\xA9", bufferValue("x")),
            formOf("\xC3\xA9", {{"filename", "\xE4\xB8\xAD"}})),
      ElementsAre(MultipartPart{"\xC3\xA9", "\xE4\xB8\xAD", "application/octet-stream", "x"}));
}

TEST_F(FormPayloadTest, SkipsValuesOfOtherKinds) {
  RequestDetails details = detailsOf(textMap({{"a", "1"}}));
  get<map_t>(details.payload).insert(data_t("n"), data_t(5));
  get<map_t>(details.payload).insert(data_t("e"), data_t());
  get<map_t>(details.payload).insert(data_t("m"), data_t(map_t()));

  EXPECT_EQ(written(details), "a=1");
}

TEST_F(FormPayloadTest, WritesEveryOneOfManyFields) {
  map_t fields;
  std::vector<MultipartPart> expected;
  for (int i = 0; i < 500; ++i) {
    const std::string name = "field" + std::to_string(i);
    fields.insert(data_t(name), data_t("value" + name));
    expected.push_back({name, {}, {}, "value" + name});
    fields.insert(data_t("part" + name), bufferValue(name));
    expected.push_back({"part" + name, {}, "application/octet-stream", name});
  }

  EXPECT_THAT(parts(std::move(fields)), testing::UnorderedElementsAreArray(expected));
}

TEST_F(FormPayloadTest, LeavesThePayloadToBeWrittenAgain) {
  map_t fields = textMap({{"a", "1"}});
  fields.insert(data_t("f"), bufferValue("x"));
  const RequestDetails details = detailsOf(std::move(fields), "multipart/form-data");

  for (int attempt = 0; attempt < 2; ++attempt) {
    const std::string body = written(details);
    EXPECT_THAT(test_support::readMultipart(type_, body),
                ElementsAre(MultipartPart{"a", {}, {}, "1"},
                            MultipartPart{"f", {}, "application/octet-stream", "x"}));
  }
}

TEST_F(FormPayloadTest, RefusesMetadataOfOtherKinds) {
  const auto refusal = [this](data_t form) {
    RequestDetails details = detailsOf(fieldMap("f", bufferValue("x")), "multipart/form-data");
    details.form = std::move(form);
    return failure(details);
  };

  EXPECT_EQ(refusal(data_t("form")),
            "Incorrect type in get (you asked for map but it's actually string)");
  EXPECT_EQ(refusal(data_t(fieldMap("f", data_t(1)))),
            "Incorrect type in get (you asked for map but it's actually integer)");
  EXPECT_EQ(refusal(data_t(fieldMap("f", data_t(fieldMap("charset", data_t(true)))))),
            "Incorrect type in get (you asked for string but it's actually boolean)");
}

TEST_F(FormPayloadTest, TakesNoFieldForAMethodWithoutABody) {
  for (const char* method : {"HEAD", "DELETE", "TRACE"}) {
    host_.clearLines();
    const RequestDetails details = detailsOf(textMap({{"a", "1"}}), nullptr, {}, method);
    HTMLForm form;

    fillForm(form, details, keys_, logger_);

    EXPECT_TRUE(form.empty());
    EXPECT_EQ(get<map_t>(details.payload).size(), 1u);
    EXPECT_THAT(host_.textsAt(3),
                ElementsAre(std::string("<category> {0} Ignoring specified payload for ") + method +
                            " request method"));
  }
}

TEST_F(FormPayloadTest, RepeatsUrlEncodedFieldsInTheQueryOfOtherMethods) {
  const RequestDetails get = detailsOf(textMap({{"a", "1&"}}), nullptr, {}, "GET");

  EXPECT_EQ(preparedTarget(get, "/p"), "/p?a=1%26");
  EXPECT_EQ(preparedTarget(get, "/p?x=y"), "/p?x=y&a=1%26");
  EXPECT_EQ(preparedTarget(get, "/p?"), "/p?a=1%26");
  EXPECT_EQ(preparedTarget(get, "/p?x&"), "/p?x&a=1%26");
  EXPECT_EQ(type_, "application/x-www-form-urlencoded");
  const RequestDetails own = detailsOf(textMap({{"a", "1"}}), nullptr, {}, "post");
  EXPECT_EQ(preparedTarget(own, "/p"), "/p?a=1");
}

TEST_F(FormPayloadTest, LeavesTheTargetAloneWhereTheBodyCarriesAll) {
  for (const char* method : {"POST", "PUT"}) {
    EXPECT_EQ(preparedTarget(detailsOf(textMap({{"a", "1"}}), nullptr, {}, method), "/p"), "/p");
  }
  EXPECT_EQ(preparedTarget(detailsOf({}, nullptr, {}, "GET"), "/p"), "/p");
  const char* const multipart = "multipart/form-data";
  EXPECT_EQ(preparedTarget(detailsOf(textMap({{"a", "1"}}), multipart, {}, "PATCH"), "/p"), "/p");
  EXPECT_NE(test_support::boundaryOf(type_), "");
}

}  // namespace
}  // namespace com::corvane::connectivity::plugins
