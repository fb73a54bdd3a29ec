// model/iterator_checks.h : what happens when a position has outlived a change of its container.
//
// Errors: std::runtime_error with one of the texts below, unless the environment variable
//         OV_SKIP_DATA_T_ITERATOR_CHECKS is set, to anything: then the stale position goes on. The
//         variable is looked up at each failure.
#pragma once

namespace com::corvane::connectivity10_15_0::iterator_checks {

inline constexpr char kMapModified[] = "Iterator invalidated by modifying map";
inline constexpr char kListModified[] = "Iterator invalidated by modifying list";
inline constexpr char kDifferentMaps[] = "Invalid comparison of iterators into different maps";

/// Throws `text`, or returns when the checks are switched off.
void fail(const char* text);

}  // namespace com::corvane::connectivity10_15_0::iterator_checks
