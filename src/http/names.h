// http/names.h : the framework's names that this room speaks of, without their namespace.
#pragma once

#include "model/data.h"
#include "model/map.h"
#include "model/map_key.h"
#include "model/message.h"
#include "plugin/logger.h"

namespace com::corvane::connectivity::plugins {

using connectivity10_15_0::buffer_t;
using connectivity10_15_0::data_t;
using connectivity10_15_0::LogLevel;
using connectivity10_15_0::map_t;
using connectivity10_15_0::MapKey;
using connectivity10_15_0::Message;
using connectivity10_15_0::ThreadLogger;

}  // namespace com::corvane::connectivity::plugins
