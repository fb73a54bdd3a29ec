// chainhost/exit_code.h : the exit codes of the program, all of them.
#pragma once

namespace chainhost {

enum class ExitCode : int {
  Done = 0,               // every message was answered, also after a drain on a signal
  Failed = 1,             // a failure while running
  Usage = 2,              // wrong command line
  LinesRefused = 3,       // done, but some input lines were refused
  PluginUnfit = 69,       // the plugin library is missing or unfit
  BadConfiguration = 78,  // the file's fault, or refused by the transport itself
  SignalExitBase = 128    // + the number of the signal that abandoned the drain: 130, 143
};

}  // namespace chainhost
