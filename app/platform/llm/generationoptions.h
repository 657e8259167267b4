#pragma once

#include <optional>

// How a response is sampled. Absent values leave the model's own defaults.
struct GenerationOptions {
    std::optional<double> temperature;
    std::optional<int> maximumResponseTokens;

    friend bool operator==(const GenerationOptions&, const GenerationOptions&) = default;
};
