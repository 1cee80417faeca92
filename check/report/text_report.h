#ifndef BW_CHECK_REPORT_TEXT_REPORT_H
#define BW_CHECK_REPORT_TEXT_REPORT_H

#include <ostream>

#include "check/report/finding.h"

namespace check {

enum class Colour { Off, On };

/// Prints a report for a person; the verdict is its last line.
void PrintReport(std::ostream& stream, const Report& report, Colour colour);

}  // namespace check

#endif  // BW_CHECK_REPORT_TEXT_REPORT_H
