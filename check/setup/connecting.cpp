#include "check/setup/connecting.h"

#include <sqlext.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include "check/report/characters.h"
#include "check/setup/configuration.h"
#include "odbc/diagnostics.h"

namespace check::setup {

namespace {

struct Meaning {
  std::string_view state;  ///< Empty: whatever the state.
  SQLINTEGER code;         ///< 0: whatever the code.
  std::string_view text;
};

// The first one that fits any record counts. The codes are SQL Server's and FreeTDS's, which has states for few of
// them.
constexpr std::array kMeanings = {
    Meaning{"", 18456,
            "The server refuses the login. Check the login and the password, and that the login is enabled."},
    Meaning{"", 4060, "The login may not open the database, or there is none. Check Database in the data source."},
    Meaning{"", 20013,
            "The name of the server is unknown. Check Server in the data source, and that you may write to its file."},
    Meaning{"", 20009,
            "The server cannot be reached. Check Server and Port in the data source, that the server runs, and the "
            "network between."},
    Meaning{"IM002", 0, "The driver manager finds no such data source, or not its driver. Check db_connection_name."},
    Meaning{"IM003", 0, "The driver cannot be loaded. Install it, or check its path."},
    Meaning{"IM014", 0, "The driver is of another architecture than the program. Use one of 64 bits."},
    Meaning{"28000", 0, "The server refuses the login. Check the login, the password, and who the server admits."},
    Meaning{"28P01", 0, "The server refuses the password. Check the login and the password."},
    Meaning{
        "08001", 0,
        "There is no connection. The driver's message says why: the server, its port, the database, the encryption, "
        "the login or the password."},
    Meaning{"08S01", 0,
            "The connection broke off. Check that the server can be reached, and the version of the protocol and the "
            "encryption in the data source."},
    Meaning{"HYT00", 0,
            "The server does not answer in time. Check its address, that it runs, and the network between."},
    Meaning{"S1T00", 0,
            "The server does not answer in time. Check its address, that it runs, and the network between."},
    Meaning{"S1090", 0, "The data source's name, the login or the password is longer than the driver manager accepts."},
};

std::vector<ConnectionError> ErrorsOf(SQLHDBC connection) {
  std::vector<ConnectionError> errors;
  std::array<SQLCHAR, SQL_SQLSTATE_SIZE + 1> state{};
  std::array<SQLCHAR, SQL_MAX_MESSAGE_LENGTH> message{};
  SQLINTEGER code = 0;
  SQLSMALLINT length = 0;
  for (SQLSMALLINT record = 1;
       odbc::Succeeded(SQLGetDiagRec(SQL_HANDLE_DBC, connection, record, state.data(), &code, message.data(),
                                     static_cast<SQLSMALLINT>(message.size()), &length));
       ++record) {
    errors.push_back({.state = reinterpret_cast<const char*>(state.data()), .code = code});
  }
  return errors;
}

/// Connects a side. Returns why that fails; empty when it does not.
std::string WhyNotConnected(odbc::DBConnection& connection, std::string_view side,
                            const config::ConnectionSettings& settings) {
  const std::string which = std::string(side) + ", data source '" + settings.dataSourceName + "'";
  try {
    // Another kind of server stays connected, and the report says so.
    static_cast<void>(connection.Connect());
  } catch (const std::runtime_error& error) {
    const std::string_view message = error.what();
    const std::string_view meaning = MeaningOf(ErrorsOf(connection.connection()));
    return "cannot connect to the " + which + ", login '" + settings.login + "'." + (meaning.empty() ? "" : " ") +
           std::string(meaning) + DoubtsAboutPassword(connection.password(), message) + "\n" +
           (message.empty() ? "The server's name cannot be read" : std::string(message));
  }
  return {};
}

}  // namespace

std::string_view MeaningOf(const std::vector<ConnectionError>& errors) {
  for (const Meaning& meaning : kMeanings) {
    const bool fits = std::ranges::any_of(errors, [&meaning](const ConnectionError& error) {
      return meaning.state.empty() ? meaning.code == error.code : meaning.state == error.state;
    });
    if (fits) {
      return meaning.text;
    }
  }
  return {};
}

std::string DoubtsAboutPassword(std::string_view password, std::string_view message) {
  std::string doubts;
  if (password.ends_with('\r')) {
    doubts += " The password ends with a carriage return, as a line of a file of Windows does: end the line with LF.";
  }
  if (!IsAscii(password)) {
    doubts += message.find("[FreeTDS]") != std::string_view::npos
                  ? " The password has characters beyond ASCII: FreeTDS takes each of its bytes for a character of "
                    "ISO 8859-1, so one that is typed in UTF-8 is refused."
                  : " The password has characters beyond ASCII: its bytes are sent as they are typed, so it is refused "
                    "when it was set in another encoding.";
  }
  return doubts;
}

void ConnectSides(odbc::DBConnection& source, odbc::DBConnection& trial, odbc::DBConnection& destination,
                  const config::MigrationSettings& settings) {
  std::string ofSource = WhyNotConnected(source, "source", settings.source);
  if (ofSource.empty()) {
    ofSource = WhyNotConnected(trial, "source", settings.source);
  }
  RequireNoFlaws({ofSource, WhyNotConnected(destination, "destination", settings.destination)});
}

}  // namespace check::setup
