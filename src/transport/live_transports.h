// transport/live_transports.h : the transports of this process, for the day it ends without them.
//
// Role:      a host should destroy its transports. When it exits, or unloads the library, with
//            workers at work, these are ended first: they would go on in code and libraries that
//            are being taken down.
// Threads:   any thread. The mutex "LiveTransports" is outermost; whoever destroys a transport
//            while the process ends waits until it has been ended.
// Ownership: knows the transports, owns none.
// Limits:    a process that ends on a worker's own thread, from within the host's batch function,
//            waits for no worker: they may wait for that one.
#pragma once

namespace com::corvane::connectivity::plugins {

class HTTPClient;

namespace live_transports {

/// From now on the transport is abandoned (HTTPClient::abandon) when the process exits or the
/// library is unloaded. `usesTls` tells that its workers need the TLS library until then.
void add(HTTPClient& transport, bool usesTls);

/// The transport ends by itself. It need not have been added.
void remove(HTTPClient& transport);

}  // namespace live_transports
}  // namespace com::corvane::connectivity::plugins
