#include "bench/slope.h"

#include <algorithm>
#include <optional>

namespace bench {

std::vector<Point> extremes(const std::vector<Point>& points, std::size_t spans, Extreme extreme) {
  if (points.empty() || spans == 0) return {};
  const double begin = points.front().x;
  const double width = (points.back().x - begin) / static_cast<double>(spans);
  std::vector<std::optional<double>> found(spans);
  for (const Point& point : points) {
    const double position = width > 0 ? (point.x - begin) / width : 0;
    auto& value = found[std::min(spans - 1, static_cast<std::size_t>(position))];
    if (!value || (extreme == Extreme::Floor ? point.y < *value : point.y > *value)) {
      value = point.y;
    }
  }
  std::vector<Point> result;
  for (std::size_t i = 0; i < spans; ++i) {
    if (found[i]) result.push_back({begin + (static_cast<double>(i) + 0.5) * width, *found[i]});
  }
  return result;
}

double theilSenSlope(const std::vector<Point>& points) {
  std::vector<double> slopes;
  for (std::size_t i = 0; i < points.size(); ++i) {
    for (std::size_t j = i + 1; j < points.size(); ++j) {
      const double distance = points[j].x - points[i].x;
      if (distance != 0) slopes.push_back((points[j].y - points[i].y) / distance);
    }
  }
  if (slopes.empty()) return 0;
  std::sort(slopes.begin(), slopes.end());
  const std::size_t middle = slopes.size() / 2;
  return slopes.size() % 2 == 1 ? slopes[middle] : (slopes[middle - 1] + slopes[middle]) / 2;
}

}  // namespace bench
