#pragma once
// The median the benchmarks report (of an even count: the mean of the middle two).

#include <algorithm>
#include <vector>

namespace korvan::bench {

inline double Median(std::vector<double> values)
{
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n == 0 ? 0 : n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

} // namespace korvan::bench
