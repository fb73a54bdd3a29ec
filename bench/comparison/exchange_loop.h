// comparison/exchange_loop.h : performs a work with one thread a connection.
//
// Threads:   one thread only.
// Errors:    what opening a connection, or an exchange of the warm-up, throws. A later exchange
//            that fails is counted, and ends its thread's part.
#pragma once

#include "bench/comparison/exchange.h"
#include "bench/comparison/measurement.h"

namespace bench {

void runExchanges(const Work& work, ExchangeFactory make, Measurement& measurement);

}  // namespace bench
