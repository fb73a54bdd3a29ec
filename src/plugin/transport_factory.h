// plugin/transport_factory.h : how the entry points come to a transport without knowing its class.
#pragma once

#include "plugin/abstract_transport.h"
#include "plugin/plugin_parameters.h"

namespace com::corvane::connectivity10_15_0 {

/// A new transport, owned by the caller. Throws what its construction throws; the text of such a
/// standard exception is fit for the log. Defined beside the transport.
AbstractTransport* createTransport(const PluginParameters& parameters);

}  // namespace com::corvane::connectivity10_15_0
