// resources/plugin_threads.h : which threads do the plugin's work, for faults that are to meet it
// and nobody else.
//
// Role:      what fails on purpose asks onPluginThread first. Workers are known by their name; the
//            test's own thread belongs to the plugin inside a PluginScope, and a worker does not
//            inside an ExemptScope, where it runs what stands for the host.
// Threads:   the mark is the calling thread's own.
#pragma once

namespace test_support {

bool onPluginThread();

class PluginScope {
 public:
  PluginScope();
  ~PluginScope();
  PluginScope(const PluginScope&) = delete;
  PluginScope& operator=(const PluginScope&) = delete;

 private:
  const bool earlier_;
};

class ExemptScope {
 public:
  ExemptScope();
  ~ExemptScope();
  ExemptScope(const ExemptScope&) = delete;
  ExemptScope& operator=(const ExemptScope&) = delete;

 private:
  const bool earlier_;
};

}  // namespace test_support
