// examples/arena/meter.h: collects numbers and tells what is usual and what is extreme among them.
#pragma once
#include <algorithm>
#include <cstddef>
#include <vector>

namespace arena {

/// Median, 99th percentile and maximum.
struct Spread {
    double median = 0;
    double p99 = 0;
    double maximum = 0;
};

class Samples {
public:
    void add(double value) { m_values.push_back(value); }
    void clear() { m_values.clear(); }
    /// All zero without samples.
    [[nodiscard]] Spread spread() const {
        if (m_values.empty()) {
            return {};
        }
        std::vector<double> sorted = m_values;
        std::sort(sorted.begin(), sorted.end());
        return {sorted[sorted.size() / 2], sorted[sorted.size() * 99 / 100], sorted.back()};
    }

private:
    std::vector<double> m_values;
};

} // namespace arena
