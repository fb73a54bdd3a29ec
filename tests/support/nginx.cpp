#include "support/nginx.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "support/loopback.h"

namespace test_support {

namespace {

constexpr std::size_t kFixedColumns = 7;

// "X-Request-Id" is the server's variable $http_x_request_id.
std::string variableOf(const std::string& header) {
  std::string variable = "$http_";
  for (const char c : header) {
    variable += c == '-' ? '_' : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  return variable;
}

std::string logFormat(const std::vector<std::string>& headers) {
  std::string format =
      "$msec\\t$request_time\\t$status\\t$connection\\t$connection_requests\\t"
      "$request_method\\t$request_uri";
  for (const std::string& header : headers) {
    format += "\\t" + variableOf(header);
  }
  return format;
}

std::int64_t milliseconds(const std::string& seconds) {
  return std::llround(std::stod(seconds) * 1000);
}

Nginx::AccessLine parseLine(const std::string& line, std::size_t headers) {
  std::vector<std::string> columns;
  std::string column;
  for (std::istringstream in(line + "\t"); std::getline(in, column, '\t');) {
    columns.push_back(column);
  }
  if (columns.size() != kFixedColumns + headers) {
    throw std::runtime_error("unreadable access log line: " + line);
  }
  Nginx::AccessLine parsed;
  parsed.endMs = milliseconds(columns[0]);
  parsed.startMs = parsed.endMs - milliseconds(columns[1]);
  parsed.status = std::stoi(columns[2]);
  parsed.connection = std::stoull(columns[3]);
  parsed.connectionRequest = std::stoull(columns[4]);
  parsed.method = columns[5];
  parsed.uri = columns[6];
  parsed.headers.assign(columns.begin() + kFixedColumns, columns.end());
  return parsed;
}

// Whether a server behind the port answers. The connection itself succeeds in any case, and ends
// unanswered when the server does not start.
bool answers(std::uint16_t port) {
  const int descriptor = connectLoopback(port);
  const timeval guard{30, 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &guard, sizeof guard);
  constexpr std::string_view kRequest = "GET / HTTP/1.0\r\n\r\n";
  std::array<char, 64> answer;
  const bool answered = send(descriptor, kRequest.data(), kRequest.size(), MSG_NOSIGNAL) > 0 &&
                        recv(descriptor, answer.data(), answer.size(), 0) > 0;
  close(descriptor);
  return answered;
}

}  // namespace

Nginx::Nginx(const Options& options) : options_(options) {
  const int serving = listenLoopback();
  const int readiness = listenLoopback();
  port_ = boundPort(serving);
  const std::uint16_t readinessPort = boundPort(readiness);
  const std::string configurationFile = dir_.write("nginx.conf", configuration(readinessPort));
  Process::Options processOptions;
  // The server takes over listening sockets that this variable names.
  processOptions.environment["NGINX"] = "3;4;";
  processOptions.errorFile = dir_.file("startup.log");
  processOptions.descriptors = {serving, readiness};
  processOptions.endSignal = SIGTERM;  // killed, it would leave its worker behind
  // Debian keeps system programs where an ordinary user's PATH may not lead.
  const std::string path = "/usr/sbin/nginx";
  process_ = std::make_unique<Process>(
      std::vector<std::string>{path, "-p", dir_.path(), "-c", configurationFile, "-e",
                               dir_.file("error.log")},
      processOptions);
  // From here on the server alone holds the sockets: they close when it ends.
  close(serving);
  close(readiness);
  bool answered = false;
  try {
    answered = answers(readinessPort);
  } catch (const std::exception&) {
    // Refused: the server has ended already.
  }
  if (!answered) {
    process_.reset();
    throw std::runtime_error("nginx does not start: " + readFile(dir_.file("startup.log")) +
                             errorLog());
  }
}

Nginx::~Nginx() = default;

void Nginx::stop() {
  process_->signal(SIGQUIT);
  process_->wait();
}

std::vector<Nginx::AccessLine> Nginx::accessLog() const {
  std::vector<AccessLine> lines;
  std::istringstream in(readFile(dir_.file("access.log")));
  for (std::string line; std::getline(in, line);) {
    lines.push_back(parseLine(line, options_.loggedHeaders.size()));
  }
  return lines;
}

std::string Nginx::errorLog() const {
  const std::string path = dir_.file("error.log");
  return access(path.c_str(), F_OK) == 0 ? readFile(path) : "";
}

std::string Nginx::configuration(std::uint16_t readinessPort) const {
  std::ostringstream out;
  out << "daemon off;\nworker_processes 1;\npid nginx.pid;\n";
  if (geteuid() == 0) {
    out << "user root;\n";  // else the worker cannot read the test's directory
  }
  out << "events { worker_connections 1024; }\n"
      << "http {\n"
      << "  log_format test escape=none '" << logFormat(options_.loggedHeaders) << "';\n"
      << "  access_log access.log test;\n"
      << "  client_body_temp_path body;\n  proxy_temp_path proxy;\n  fastcgi_temp_path fastcgi;\n"
      << "  uwsgi_temp_path uwsgi;\n  scgi_temp_path scgi;\n"
      << "  keepalive_requests " << options_.keepAliveRequests << ";\n"
      << "  keepalive_timeout " << options_.keepAliveSeconds << ";\n"
      << "  server {\n    listen 127.0.0.1:" << port_ << (options_.tls ? " ssl" : "") << ";\n";
  if (options_.tls) {
    out << "    ssl_certificate " << options_.tls->certificateFile << ";\n"
        << "    ssl_certificate_key " << options_.tls->keyFile << ";\n";
  }
  out << "    " << options_.locations << "\n"
      << "    location / { return 200 'ok'; }\n  }\n"
      << "  server {\n    listen 127.0.0.1:" << readinessPort << ";\n    access_log off;\n"
      << "    location / { return 200 'ready'; }\n  }\n}\n";
  return out.str();
}

}  // namespace test_support
