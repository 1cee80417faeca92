#ifndef BW_CHECK_REPORT_HTML_REPORT_H
#define BW_CHECK_REPORT_HTML_REPORT_H

#include <string>

#include "check/report/finding.h"

namespace check {

/// The report as one page for a browser, which needs nothing besides.
std::string HtmlReport(const Report& report);

}  // namespace check

#endif  // BW_CHECK_REPORT_HTML_REPORT_H
