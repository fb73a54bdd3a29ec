// model/iterator_texts.h : what tests of iterators read and set.
#pragma once

namespace test_support {

inline constexpr char kListModified[] = "Iterator invalidated by modifying list";
inline constexpr char kMapModified[] = "Iterator invalidated by modifying map";

// The variable of the environment that switches the checks off.
inline constexpr char kSkipIteratorChecks[] = "OV_SKIP_DATA_T_ITERATOR_CHECKS";

}  // namespace test_support
