#ifndef BW_CHECK_REPORT_JSON_REPORT_H
#define BW_CHECK_REPORT_JSON_REPORT_H

#include <string>
#include <string_view>

#include "check/report/finding.h"

namespace check {

/// The report for a program, in the form that docs/check.md describes.
std::string JsonReport(const Report& report);

inline constexpr std::string_view kReportFormat = "bw_db_check report";
inline constexpr int kReportVersion = 2;

}  // namespace check

#endif  // BW_CHECK_REPORT_JSON_REPORT_H
