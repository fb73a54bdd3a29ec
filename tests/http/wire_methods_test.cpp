// What methods, paths and types become on the wire, with a body and without one.
#include <gtest/gtest.h>

#include "http/wire_fixture.h"

namespace com::corvane::connectivity::plugins {
namespace {

class WireMethodsTest : public WireTable {};

TEST_P(WireMethodsTest, BecomeExactlyTheseBytes) { compare(); }

RequestMessage get(const char* path) { return RequestMessage("GET", path, ""); }

const WireCase kMethods[] = {
    {"Get", [] { return get("/"); },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"GetWithABody", [] { return RequestMessage("GET", "/", "body"); },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Post", [] { return RequestMessage("POST", "/", ""); },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"PostWithABody", [] { return RequestMessage("POST", "/", "body"); },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Put", [] { return RequestMessage("PUT", "/", ""); },
     "PUT / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"PutWithABody", [] { return RequestMessage("PUT", "/", "body"); },
     "PUT / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Delete", [] { return RequestMessage("DELETE", "/", ""); },
     "DELETE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Patch", [] { return RequestMessage("PATCH", "/", ""); },
     "PATCH / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"PatchWithABody", [] { return RequestMessage("PATCH", "/", "body"); },
     "PATCH / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"Options", [] { return RequestMessage("OPTIONS", "/", ""); },
     "OPTIONS / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"OptionsWithABody", [] { return RequestMessage("OPTIONS", "/", "body"); },
     "OPTIONS / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"OptionsOfTheServer", [] { return RequestMessage("OPTIONS", "*", ""); },
     "OPTIONS %2A HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Head", [] { return RequestMessage("HEAD", "/", ""); },
     "HEAD / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"HeadWithABody", [] { return RequestMessage("HEAD", "/", "body"); },
     "HEAD / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Trace", [] { return RequestMessage("TRACE", "/", ""); },
     "TRACE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"TraceWithABody", [] { return RequestMessage("TRACE", "/", "body"); },
     "TRACE / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"Connect", [] { return RequestMessage("CONNECT", "/", ""); },
     "CONNECT / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"AnotherMethod", [] { return RequestMessage("own-Method!", "/", "body"); },
     "own-Method! / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
    {"AMethodInSmallLetters", [] { return RequestMessage("delete", "/", "body"); },
     "delete / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 4\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "body"},
};

const WireCase kTargets[] = {
    {"NoPath", [] { return get(""); },
     "GET / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"APathWithAQuery", [] { return get("/a/./b/../c//d?x=1&&y#z"); },
     "GET /a/./b/../c//d?x=1&&y HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"EncodedBytes", [] { return get("/%41%2f%3F%25?%41%2f%3f"); },
     "GET /A/%3F%25?%41%2f%3f HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"BytesThatNeedEncoding", [] { return get("/a b\"<>{}|\\^`\xC3\xA9?a b\"<>{}\xC3\xA9"); },
     "GET /a%20b%22%3C%3E%7B%7D%7C%5C%5E%60%C3%A9?a%20b\"<>{}\xC3\xA9 HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ParametersInTheOrderOfTheirNames",
     [] {
       RequestMessage message("GET", "/p?c", "");
       message.http("queryString", data_t(textMap({{"b", "2"}, {"B", "1"}, {"a", ""}, {"", "e"}})));
       return message;
     },
     "GET /p?c&=e&B=1&a=&b=2 HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ParametersWithOddBytes",
     [] {
       RequestMessage message("GET", "/p", "");
       message.http("queryString",
                    data_t(textMap({{"k=&+ ?", "v=&+ ?/:@#%,;!$'()*[]"}, {"l", "\xE2\x82\xAC"}})));
       return message;
     },
     "GET "
     "/p?k%3D%26%2B%20%3F=v%3D%26%2B%20%3F%2F%3A%40%23%25%2C%3B%21%24%27%28%29%2A%5B%5D&l=%E2%82%"
     "AC HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ALongQuery",
     [] {
       RequestMessage message("GET", "/p", "");
       message.http("queryString", data_t(textMap({{"q", std::string(9000, 'q').c_str()}})));
       return message;
     },
     "GET /p?q=" + std::string(9000, 'q') +
         " HTTP/1.1\r\n"
         "accept-charset: utf-8\r\n"
         "accept-encoding: identity, gzip, deflate\r\n"
         "user-agent: Orvex/10.15 (amd64-win)\r\n"
         "Content-Length: 0\r\n"
         "Host: {server}\r\n"
         "\r\n"},
};

const WireCase kTypes[] = {
    {"AType",
     [] {
       RequestMessage message("POST", "/", "{}");
       message.metadata("contentType", data_t("Application/JSON"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "accept: application/json\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: application/json\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 2\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "{}"},
    {"ATypeAndACharset",
     [] {
       RequestMessage message("POST", "/", "x");
       message.metadata("contentType", data_t("text/plain")).metadata("charset", data_t("UTF8"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "accept: text/plain\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: text/plain;charset=utf-8\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 1\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "x"},
    {"ATypeThatIsNoTextAndACharset",
     [] {
       RequestMessage message("POST", "/", "{}");
       message.metadata("contentType", data_t("application/json"))
           .metadata("charset", data_t("ISO-8859-1"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "accept: application/json\r\n"
     "accept-charset: iso-8859-1\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: application/json\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 2\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "{}"},
    {"ATypeWithoutABody",
     [] {
       RequestMessage message("POST", "/", "");
       message.metadata("contentType", data_t("text/xml")).metadata("charset", data_t("x"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "accept: text/xml\r\n"
     "accept-charset: x\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 0\r\n"
     "Host: {server}\r\n"
     "\r\n"},
    {"ACharsetAlone",
     [] {
       RequestMessage message("POST", "/", "x");
       message.metadata("charset", data_t("x"));
       return message;
     },
     "POST / HTTP/1.1\r\n"
     "accept-charset: utf-8\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Content-Length: 1\r\n"
     "Host: {server}\r\n"
     "\r\n"
     "x"},
    {"ATypeForADelete",
     [] {
       RequestMessage message("DELETE", "/", "x");
       message.metadata("contentType", data_t("text/xml")).metadata("charset", data_t("x"));
       return message;
     },
     "DELETE / HTTP/1.1\r\n"
     "accept: text/xml\r\n"
     "accept-charset: x\r\n"
     "accept-encoding: identity, gzip, deflate\r\n"
     "content-type: text/xml;charset=x\r\n"
     "user-agent: Orvex/10.15 (amd64-win)\r\n"
     "Host: {server}\r\n"
     "\r\n"},
};

INSTANTIATE_TEST_SUITE_P(Method, WireMethodsTest, testing::ValuesIn(kMethods), wireCaseName);
INSTANTIATE_TEST_SUITE_P(Target, WireMethodsTest, testing::ValuesIn(kTargets), wireCaseName);
INSTANTIATE_TEST_SUITE_P(Type, WireMethodsTest, testing::ValuesIn(kTypes), wireCaseName);

}  // namespace
}  // namespace com::corvane::connectivity::plugins
