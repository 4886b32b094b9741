// The figures for a site's monitoring, as OpenMetrics text.
#pragma once

#include "switchctl/metrics/MetricFacts.h"

#include <string>

// What is not known has no sample. The media type belongs to it where it goes over HTTP.
std::string metricsText(const MetricFacts& facts);
inline constexpr const char* METRICS_TYPE = "application/openmetrics-text; version=1.0.0; charset=utf-8";
