#include "companion/export/metric_text.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace tavrine {
namespace {

const std::vector<MetricFamily> kFamilies = {
    {"lab_power_watts", "Power.", "watts", MetricType::gauge, {{"a=\"b\"", 1.5}, {"", -2}}},
    {"lab_errors", "Errors.", "", MetricType::counter, {{"", 3}}},
    {"lab_gpu", "The GPU.", "", MetricType::info, {{"name=\"A\"", 1}}},
    {"lab_state", "State.", "", MetricType::stateSet, {{"lab_state=\"on\"", 0}}},
};

TEST(PrometheusText, hasEachFamilyInOnePlace) {
  EXPECT_EQ(prometheusText(kFamilies),
            "# HELP lab_power_watts Power.\n"
            "# TYPE lab_power_watts gauge\n"
            "lab_power_watts{a=\"b\"} 1.5\n"
            "lab_power_watts -2\n"
            "# HELP lab_errors_total Errors.\n"
            "# TYPE lab_errors_total counter\n"
            "lab_errors_total 3\n"
            "# HELP lab_gpu_info The GPU.\n"
            "# TYPE lab_gpu_info gauge\n"
            "lab_gpu_info{name=\"A\"} 1\n"
            "# HELP lab_state State.\n"
            "# TYPE lab_state gauge\n"
            "lab_state{lab_state=\"on\"} 0\n");
}

TEST(OpenMetricsText, hasTypesOfItsOwnUnitsAndAnEnd) {
  EXPECT_EQ(openMetricsText(kFamilies),
            "# TYPE lab_power_watts gauge\n"
            "# UNIT lab_power_watts watts\n"
            "# HELP lab_power_watts Power.\n"
            "lab_power_watts{a=\"b\"} 1.5\n"
            "lab_power_watts -2\n"
            "# TYPE lab_errors counter\n"
            "# HELP lab_errors Errors.\n"
            "lab_errors_total 3\n"
            "# TYPE lab_gpu info\n"
            "# HELP lab_gpu The GPU.\n"
            "lab_gpu_info{name=\"A\"} 1\n"
            "# TYPE lab_state stateset\n"
            "# HELP lab_state State.\n"
            "lab_state{lab_state=\"on\"} 0\n"
            "# EOF\n");
}

TEST(MetricText, ofNothing) {
  EXPECT_EQ(prometheusText({}), "");
  EXPECT_EQ(openMetricsText({}), "# EOF\n");
}

TEST(MetricText, spellsNumbersAsTheFormatsDo) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  struct Row {
    double value;
    const char* text;
  };
  for (const auto& [value, text] : {Row{std::numeric_limits<double>::quiet_NaN(), "NaN"},
                                    Row{kInfinity, "+Inf"},
                                    Row{-kInfinity, "-Inf"},
                                    Row{0.1, "0.1"},
                                    Row{85520809984, "85520809984"},
                                    Row{1e300, "1e+300"},
                                    Row{5e-324, "5e-324"}}) {
    const std::vector<MetricFamily> families = {{"a", "A.", "", MetricType::gauge, {{"", value}}}};
    EXPECT_EQ(prometheusText(families),
              "# HELP a A.\n# TYPE a gauge\na " + std::string(text) + "\n");
  }
}

}  // namespace
}  // namespace tavrine
