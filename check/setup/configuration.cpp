#include "check/setup/configuration.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <numeric>
#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "check/sql/sql_text.h"
#include "config/file_names.h"
#include "config/migration_settings.h"
#include "config/profile_file.h"

namespace check::setup {

namespace {

constexpr std::size_t kLargestDistance = 2;

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
  return lower;
}

/// How many characters have to be added, removed or replaced to make one text of the other.
std::size_t EditDistance(std::string_view from, std::string_view to) {
  std::vector<std::size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), 0);
  for (const char letter : from) {
    std::size_t diagonal = row[0]++;
    for (std::size_t i = 1; i <= to.size(); ++i) {
      const std::size_t replaced = diagonal + (letter == to[i - 1] ? 0 : 1);
      diagonal = row[i];
      row[i] = std::min({replaced, row[i] + 1, row[i - 1] + 1});
    }
  }
  return row.back();
}

bool Has(const std::vector<std::string>& names, std::string_view known) {
  return std::ranges::any_of(names, [known](const std::string& name) { return Lower(name) == Lower(known); });
}

/// The first name that resembles the known one and is none of those that are read; empty when there is none.
template <class KnownNames>
std::string LookAlike(const std::vector<std::string>& names, std::string_view known, const KnownNames& allKnown) {
  const auto found = std::ranges::find_if(names, [&](const std::string& name) {
    // What is commented out in the manner of other files is not meant to be read.
    const bool isRead =
        std::ranges::any_of(allKnown, [&name](std::string_view each) { return Lower(name) == Lower(each); });
    return !isRead && !name.starts_with('#') && Resembles(name, known);
  });
  return found == names.end() ? std::string{} : *found;
}

/// What a section is to hold.
std::string Needed() {
  return ", with the keys " + Joined(config::kKeys);
}

std::string ReadWhole(const std::filesystem::path& path) {
  const std::string name(config::kConfigurationFileName);
  if (!std::filesystem::is_regular_file(path)) {
    throw std::runtime_error(name + " is not a regular file: put the configuration file there");
  }
  errno = 0;
  std::ifstream file(path, std::ios_base::binary);
  std::string content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  if (!file) {
    throw std::runtime_error(name + " cannot be read: " + std::generic_category().message(errno) +
                             ". Give your account the right to read it");
  }
  return content;
}

/// Why nothing at all may be found in a file; empty where its bytes do not show that.
std::string FlawOfBytes(const std::string& content) {
  using namespace std::string_view_literals;
  if (content.find_first_not_of(" \t\r\n") == std::string::npos) {
    return " is empty: write both sections into it" + Needed();
  }
  if (content.starts_with("\xFF\xFE"sv) || content.starts_with("\xFE\xFF"sv) ||
      content.find('\0') != std::string::npos) {
    return " is in UTF-16, or is no text file: save it as ANSI or as UTF-8 without a byte-order mark";
  }
  if (content.starts_with("\xEF\xBB\xBF"sv)) {
    return " begins with a byte-order mark: save it as ANSI or as UTF-8 without a byte-order mark";
  }
  return {};
}

/// What is wrong with a key of a section; empty when nothing is.
std::string FlawOfKey(const std::vector<std::string>& keys, std::string_view key, const std::string& section) {
  const std::string known(key);
  const std::string other = LookAlike(keys, key, config::kKeys);
  if (!other.empty()) {
    return "the key " + other + " in [" + section + "] is not read. Rename it to " + known +
           (Has(keys, key) ? ", or remove it" : "");
  }
  if (Has(keys, key)) {
    return {};
  }
  return "there is no key " + known + " in [" + section + "]. Write the line " + known + "=" +
         (key == config::kDataSourceKey ? "NAME, with the name of the data source"
          : key == config::kLoginKey    ? "LOGIN; without a login if the data source has it"
                                        : "SCHEMA; without a schema if table names need none");
}

/// What is wrong with a section that there is; empty texts where nothing is.
std::vector<std::string> FlawsOfSection(const std::string& path, const std::string& section) {
  std::vector<std::string> flaws;
  const std::vector<std::string> keys = config::ReadKeyNames(path, section);
  std::transform(config::kKeys.begin(), config::kKeys.end(), std::back_inserter(flaws),
                 [&](std::string_view key) { return FlawOfKey(keys, key, section); });
  if (Has(keys, config::kDataSourceKey) && config::ReadConnectionSettings(path, section).dataSourceName.empty()) {
    flaws.push_back(std::string(config::kDataSourceKey) + " in [" + section +
                    "] is empty. Write the name of the data source after the =");
  }
  return flaws;
}

std::string FlawOfMissingSection(const std::vector<std::string>& sections, std::string_view section) {
  const std::string other = LookAlike(sections, section, config::kSections);
  return "there is no section [" + std::string(section) + "]" +
         (other.empty() ? ". Write it" + Needed() : ", but one named [" + other + "]. Rename it");
}

}  // namespace

bool Resembles(std::string_view name, std::string_view known) {
  const std::size_t distance = EditDistance(Lower(name), Lower(known));
  return distance > 0 && distance <= kLargestDistance;
}

void RequireNoFlaws(std::vector<std::string> flaws) {
  std::erase(flaws, "");
  if (!flaws.empty()) {
    throw std::runtime_error(Joined(flaws, "\n"));
  }
}

void RequireUsableConfiguration(const std::filesystem::path& path) {
  const std::string name(config::kConfigurationFileName);
  const std::string content = ReadWhole(path);
  const std::vector<std::string> sections = config::ReadSectionNames(path.string());
  std::vector<std::string> flaws;
  for (const std::string_view section : config::kSections) {
    if (Has(sections, section)) {
      for (const std::string& flaw : FlawsOfSection(path.string(), std::string(section))) {
        flaws.push_back(flaw.empty() ? "" : name + ": " + flaw);
      }
      continue;
    }
    const std::string bytes = FlawOfBytes(content);
    if (!bytes.empty()) {
      throw std::runtime_error(name + bytes);
    }
    flaws.push_back(name + ": " + FlawOfMissingSection(sections, section));
  }
  RequireNoFlaws(std::move(flaws));
}

}  // namespace check::setup
