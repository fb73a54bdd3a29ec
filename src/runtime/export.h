// runtime/export.h : the mark of what the runtime libraries export; everything else is hidden.
#pragma once

/// Put before the name of an exported class, or before the declaration of an exported function.
#define OV_EXPORT __attribute__((visibility("default")))
