// bench/slope.h : how fast a figure grows, when most of what is measured is noise.
//
// Role:      the time is cut into spans of equal length. What each holds least of (its floor) shows
//            memory that is kept; what each holds most of (its ceiling) shows threads and
//            descriptors, whose number falls whenever a connection is being replaced. The slope of
//            these is the median of the slopes between all pairs of spans: H. Theil, "A
//            rank-invariant method of linear and polynomial regression analysis", 1950; P. K. Sen,
//            "Estimates of the regression coefficient based on Kendall's tau", Journal of the
//            American Statistical Association 63, 1968. Up to 29 % of the spans may be wild.
// Threads:   no state.
#pragma once

#include <cstddef>
#include <vector>

namespace bench {

struct Point {
  double x = 0;
  double y = 0;
};

enum class Extreme { Floor, Ceiling };

/// One point a span that has any: the span's middle, and its lowest or highest value. The points
/// are ordered by x.
std::vector<Point> extremes(const std::vector<Point>& points, std::size_t spans, Extreme extreme);

/// The median of the slopes between all pairs of points that differ in x; 0 without such a pair.
double theilSenSlope(const std::vector<Point>& points);

}  // namespace bench
