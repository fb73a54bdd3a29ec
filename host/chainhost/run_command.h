// chainhost/run_command.h : "chainhost run", from the plugin's creation to its destruction.
//
// Role:      the order of things: configuration, input, library, create, output,
//            setNextTowardsHost, start, hostReady, batches until the end of the input, the wait
//            for the responses, shutdown, destroy, summary.
// Threads:   called on the main thread, before any other thread is made; returns when all threads
//            have ended. The delivering thread, the writer of the output and the watcher of
//            signals are threads of their own; the transport calls back on its workers.
// Errors:    told on standard error as "chainhost: TEXT", each with its exit code.
#pragma once

#include "chainhost/exit_code.h"
#include "chainhost/options.h"

namespace chainhost {

ExitCode runCommand(const Options& options);

}  // namespace chainhost
