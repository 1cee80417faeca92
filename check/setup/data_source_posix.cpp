#include "check/setup/data_source.h"

#include <dlfcn.h>
#include <odbcinst.h>
#include <sql.h>
#include <sqlext.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "check/sql/sql_text.h"
#include "odbc/diagnostics.h"
#include "odbc/text.h"

// What odbcinst -j asks the library for. It is exported, but declared in no header that is installed with it.
extern "C" {
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
BOOL _odbcinst_UserINI(char* path, BOOL verify);
BOOL _odbcinst_SystemINI(char* path, BOOL verify);
char* odbcinst_system_file_path(char* buffer);
char* odbcinst_system_file_name(char* buffer);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp,readability-identifier-naming)
}

namespace check::setup {

namespace {

constexpr const char* kDataSourceFile = "odbc.ini";
constexpr std::string_view kNotLoaded = "Can't open lib '";

using PathBuffer = std::array<char, FILENAME_MAX + 1>;

struct FreeEnvironment {
  void operator()(SQLHENV environment) const { SQLFreeEnv(environment); }
};

struct FreeConnection {
  void operator()(SQLHDBC connection) const {
    SQLDisconnect(connection);
    SQLFreeHandle(SQL_HANDLE_DBC, connection);
  }
};

/// As the migrator makes it.
std::unique_ptr<void, FreeEnvironment> MakeEnvironment() {
  SQLHENV environment = SQL_NULL_HENV;
  SQLAllocEnv(&environment);
  return std::unique_ptr<void, FreeEnvironment>(environment);
}

std::unique_ptr<void, FreeConnection> MakeConnection(SQLHENV environment) {
  SQLHDBC connection = SQL_NULL_HDBC;
  SQLAllocHandle(SQL_HANDLE_DBC, environment, &connection);
  return std::unique_ptr<void, FreeConnection>(connection);
}

std::string Shown(const std::string& path) {
  std::error_code ignored;
  return path + (std::filesystem::exists(path, ignored) ? "" : " (does not exist)");
}

std::string UserFile() {
  PathBuffer path{};
  _odbcinst_UserINI(path.data(), 0);
  return path.data();
}

/// Whether the user's file of data sources exists and may not be written to. For their settings drivers ask the
/// library, which opens that file for reading and writing.
bool IsKeptFromDrivers() {
  PathBuffer path{};
  std::error_code ignored;
  return _odbcinst_UserINI(path.data(), 1) == 0 && std::filesystem::exists(UserFile(), ignored);
}

std::string DataSourceFiles() {
  PathBuffer system{};
  _odbcinst_SystemINI(system.data(), 0);
  const std::string first = UserFile();
  const std::string second = system.data();
  return "The driver manager looks for data sources in " + Shown(first) +
         (second == first ? "" : " and in " + Shown(second));
}

std::string DriverFile() {
  PathBuffer path{};
  PathBuffer name{};
  return Shown(std::string(odbcinst_system_file_path(path.data())) + "/" + odbcinst_system_file_name(name.data()));
}

/// The names that the driver manager has: `next` is SQLDataSources or SQLDrivers.
std::string Names(decltype(&SQLDrivers) next, SQLHENV environment) {
  std::vector<std::string> names;
  std::array<char, 256> name{};
  std::array<char, 1024> description{};
  SQLSMALLINT nameLength = 0;
  SQLSMALLINT descriptionLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (odbc::Succeeded(next(environment, direction, reinterpret_cast<SQLCHAR*>(name.data()),
                              static_cast<SQLSMALLINT>(name.size()), &nameLength,
                              reinterpret_cast<SQLCHAR*>(description.data()),
                              static_cast<SQLSMALLINT>(description.size()), &descriptionLength))) {
    names.emplace_back(name.data());
    direction = SQL_FETCH_NEXT;
  }
  return names.empty() ? "none" : Joined(names);
}

/// What a data source of that name says, or the names of all that it says without an entry.
std::string Entry(const std::string& name, const char* entry) {
  std::array<char, 4096> value{};
  SQLGetPrivateProfileString(name.c_str(), entry, "", value.data(), static_cast<int>(value.size()), kDataSourceFile);
  return value.data();
}

/// Why the driver manager finds no driver for a data source.
std::string WhyNotFound(const std::string& name, SQLHENV environment) {
  const std::string driver = Entry(name, "Driver");
  if (!driver.empty()) {
    return "names the driver '" + driver + "', which is not installed. Installed in " + DriverFile() + ": " +
           Names(SQLDrivers, environment) + ". Install the driver, or correct the line Driver. " + DataSourceFiles();
  }
  if (!Entry(name, nullptr).empty()) {
    return "has no line Driver. Write it; installed in " + DriverFile() + ": " + Names(SQLDrivers, environment) + ". " +
           DataSourceFiles();
  }
  return "is not defined. " + DataSourceFiles() + ", and finds there: " + Names(SQLDataSources, environment) +
         ". Define it, or correct db_connection_name";
}

/// The driver manager says the same whatever keeps a library from being loaded; the loader knows more of a whole path.
std::string WhyNotLoaded(const std::string& message) {
  const std::size_t begin = message.find(kNotLoaded) + kNotLoaded.size();
  const std::string library = message.substr(begin, message.find('\'', begin) - begin);
  std::string text = "has a driver that cannot be loaded: " + library;
  if (library.find('/') != std::string::npos) {
    void* const loaded = dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
    if (loaded == nullptr) {
      text = std::string("has a driver that cannot be loaded: ") + dlerror();  // NOLINT(concurrency-mt-unsafe)
    } else {
      dlclose(loaded);
    }
  }
  return text +
         ". Install the driver for this computer's architecture, or correct its path. Drivers are registered in " +
         DriverFile() + ". " + DataSourceFiles();
}

}  // namespace

std::string FlawOfDataSource(std::string_view side, const std::string& name) {
  const std::string subject = "the data source '" + name + "' of the " + std::string(side) + " ";
  if (name.size() > SQL_MAX_DSN_LENGTH) {
    return subject + "has a name of " + std::to_string(name.size()) + " bytes, and the driver manager accepts " +
           std::to_string(SQL_MAX_DSN_LENGTH) + " at most. Give it a shorter one";
  }
  // In a connection string such a name would be read otherwise than alone.
  if (name.find('}') != std::string::npos) {
    return {};
  }
  const auto environment = MakeEnvironment();
  const auto connection = MakeConnection(environment.get());
  // The driver manager finds and loads the driver as it does to connect; the driver is asked what it needs for that.
  const std::string question = "DSN={" + name + "}";
  std::array<SQLCHAR, 1024> answer{};
  SQLSMALLINT length = 0;
  SQLBrowseConnect(connection.get(), odbc::AsSqlText(question), SQL_NTS, answer.data(),
                   static_cast<SQLSMALLINT>(answer.size()), &length);
  const odbc::Diagnostics diagnostics = odbc::ReadDiagnostics(SQL_HANDLE_DBC, connection.get());
  if (diagnostics.state == "IM002") {
    return subject + WhyNotFound(name, environment.get());
  }
  if (diagnostics.text.find(kNotLoaded) != std::string::npos) {
    return subject + WhyNotLoaded(diagnostics.text);
  }
  if (Entry(name, "Driver").empty() && IsKeptFromDrivers()) {
    return subject + "is not read by its driver: you may not write to " + UserFile() +
           ", and the driver manager's library opens that file for reading and writing. Make it writable for you";
  }
  return {};
}

}  // namespace check::setup
