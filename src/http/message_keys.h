// http/message_keys.h : the metadata keys of request and response messages, made once a transport.
//
// Threads: immutable after construction; any thread may read.
#pragma once

#include "http/names.h"

namespace com::corvane::connectivity::plugins {

/// Each key is an owned string with its hash, so that a look-up neither allocates nor hashes.
struct MessageKeys {
  MapKey charset{"charset"};
  MapKey contentType{"contentType"};
  MapKey cookies{"cookies"};
  MapKey filename{"filename"};
  MapKey form{"form"};
  MapKey headers{"headers"};
  MapKey http{"http"};
  MapKey method{"method"};
  MapKey path{"path"};
  MapKey queryString{"queryString"};
  MapKey requestId{"requestId"};
  MapKey statusCode{"statusCode"};
  MapKey statusReason{"statusReason"};
};

}  // namespace com::corvane::connectivity::plugins
