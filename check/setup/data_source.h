#ifndef BW_CHECK_SETUP_DATA_SOURCE_H
#define BW_CHECK_SETUP_DATA_SOURCE_H

#include <string>
#include <string_view>

namespace check::setup {

/// Asks the driver manager whether a data source is defined and whether its driver loads. No password is needed: the
/// driver is asked only what it would have to be told. On Windows nothing is asked.
///
/// \param side "source" or "destination".
/// \returns what is wrong, in which files the driver manager looks, and what to do; empty when nothing is wrong.
std::string FlawOfDataSource(std::string_view side, const std::string& name);

}  // namespace check::setup

#endif  // BW_CHECK_SETUP_DATA_SOURCE_H
