#ifndef BW_CHECK_SETUP_CONFIGURATION_H
#define BW_CHECK_SETUP_CONFIGURATION_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

/// What is looked at before passwords are asked for.
namespace check::setup {

/// Whether a name is probably meant to be the known one: at most two characters are missing, added or other ones. Upper
/// and lower case are alike. The known name itself does not resemble itself.
bool Resembles(std::string_view name, std::string_view known);

/// \throws std::runtime_error with the texts that are not empty, a line each, if there are any.
void RequireNoFlaws(std::vector<std::string> flaws);

/// Reads the configuration file as the migrator does, and requires that both sections and all their keys are found in
/// it, and that each data source has a name.
///
/// \throws std::runtime_error saying what is wrong and what to do, a line for each matter.
void RequireUsableConfiguration(const std::filesystem::path& path);

}  // namespace check::setup

#endif  // BW_CHECK_SETUP_CONFIGURATION_H
