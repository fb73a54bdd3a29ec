// The stand-alone host and the plugin against a web server that is not ours.
#include <Poco/JSON/Object.h>
#include <Poco/JSON/Parser.h>

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "support/certificates.h"
#include "support/nginx.h"
#include "support/process.h"
#include "support/temp_dir.h"

namespace {

using test_support::CertificateAuthority;
using test_support::Nginx;
using test_support::Process;
using test_support::TempDir;

constexpr int kRequests = 10'000;
constexpr int kKeys = 10;

struct Variant {
  std::string name;
  int clients;
  bool tls;
};

void PrintTo(const Variant& variant, std::ostream* out) { *out << variant.name; }

class NginxTest : public testing::TestWithParam<Variant> {
 protected:
  std::string writeConfig(const Nginx& server, const std::string& authorityFile) const {
    const Variant& variant = GetParam();
    std::string config =
        "logLevel: WARN\nconfig:\n  host: 127.0.0.1\n  port: " + std::to_string(server.port()) +
        "\n  numClients: " + std::to_string(variant.clients) + "\n";
    if (variant.tls) {
      config += "  tls: true\n  tlsCertificateAuthorityFile: \"" + authorityFile + "\"\n";
    }
    return dir_.write("config.yaml", config);
  }

  std::string writeMessages() const {
    const std::string path = dir_.file("messages.jsonl");
    std::ofstream file(path);
    const std::string body(1024, 'x');
    for (int id = 0; id < kRequests; ++id) {
      const std::string number = std::to_string(id);
      const std::string key = std::to_string(id % kKeys);
      file << R"({"payload": ")" << body << R"(", "metadata": {"requestId": )" << number
           << R"(, "concurrencyControlKey": "key)" << key
           << R"(", "http": {"method": "POST", "path": "/post", "headers": {"X-Id": ")" << number
           << R"(", "X-Key": ")" << key << "\"}}}}\n";
    }
    return path;
  }

  // How often each id was answered with 200 and the server's body.
  std::map<int, int> readAnswers(const std::string& path, const std::string& body) const {
    std::map<int, int> answers;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);) {
      const auto message = Poco::JSON::Parser().parse(line).extract<Poco::JSON::Object::Ptr>();
      const auto metadata = message->getObject("metadata");
      EXPECT_EQ(metadata->getObject("http")->getValue<int>("statusCode"), 200) << line;
      EXPECT_EQ(message->getValue<std::string>("payload"), body);
      ++answers[metadata->getValue<int>("requestId")];
    }
    return answers;
  }

  TempDir dir_;
};

TEST_P(NginxTest, AnswersEveryRequestOnceAndKeepsTheOrderOfEachKey) {
  const std::string body(1024, 'y');
  CertificateAuthority authority(dir_);
  Nginx::Options options;
  if (GetParam().tls) options.tls = authority.issue();
  options.loggedHeaders = {"X-Id", "X-Key"};
  options.locations = "location /post { return 200 " + body + "; }";
  Nginx server(options);

  Process::Options files;
  files.errorFile = dir_.file("errors");
  Process host({CHAINHOST, "run", "--config", writeConfig(server, authority.certificateFile()),
                "--input", writeMessages(), "--output", dir_.file("answers.jsonl")},
               files);
  EXPECT_EQ(host.wait(), 0) << test_support::readFile(dir_.file("errors"));
  server.stop();

  const auto answers = readAnswers(dir_.file("answers.jsonl"), body);
  EXPECT_EQ(answers.size(), static_cast<std::size_t>(kRequests));
  for (const auto& [id, times] : answers) EXPECT_EQ(times, 1) << "request " << id;

  std::map<std::string, int> lastId;
  std::map<std::string, std::int64_t> lastEndMs;
  int seen = 0;
  for (const auto& line : server.accessLog()) {
    const int id = std::stoi(line.headers[0]);
    const std::string& key = line.headers[1];
    EXPECT_LT(lastId.emplace(key, -1).first->second, id) << "key " << key;
    EXPECT_GE(line.startMs, lastEndMs[key]) << "two requests of key " << key << " at once";
    lastId[key] = id;
    lastEndMs[key] = line.endMs;
    ++seen;
  }
  EXPECT_EQ(seen, kRequests);
}

INSTANTIATE_TEST_SUITE_P(OneAndEightClients, NginxTest,
                         testing::Values(Variant{"OneClientPlain", 1, false},
                                         Variant{"EightClientsPlain", 8, false},
                                         Variant{"OneClientTls", 1, true},
                                         Variant{"EightClientsTls", 8, true}),
                         [](const auto& run) { return run.param.name; });

}  // namespace
