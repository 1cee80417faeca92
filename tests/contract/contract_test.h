#ifndef BW_TESTS_CONTRACT_CONTRACT_TEST_H
#define BW_TESTS_CONTRACT_CONTRACT_TEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "odbc/connection.h"
#include "odbc_double/odbc_double.h"

namespace contract {

/// The message of the runtime error that an action ends with; a text that no error has when it does not.
template <class Action>
std::string RuntimeErrorOf(Action action) {
  try {
    action();
  } catch (const std::runtime_error& error) {
    return error.what();
  }
  return "(no runtime error)";
}

/// A test with a fresh double of the ODBC functions.
class OdbcTest : public testing::Test {
 public:
  OdbcTest(const OdbcTest&) = delete;
  OdbcTest(OdbcTest&&) = delete;
  OdbcTest& operator=(const OdbcTest&) = delete;
  OdbcTest& operator=(OdbcTest&&) = delete;

 protected:
  OdbcTest() { odbc_double::Reset(); }

  ~OdbcTest() override { EXPECT_THAT(odbc_double::Violations(), testing::IsEmpty()); }
};

/// A test of the tables: both sides connected, as env1 and dbc1 with the schema prefix "dbo." and env2 and dbc2 with
/// "public.". The statements of a table are stmt1 and stmt2 when its source is built first.
class TableTest : public OdbcTest {
 protected:
  TableTest() {
    odbc_double::SetServerName("New", "PostgreSQL");
    source.Connect();
    destination.Connect();
    odbc_double::ClearCalls();
  }

  odbc::DBConnection source{"Old", "reader", "secret", "dbo."};
  odbc::DBConnection destination{"New", "writer", "secret", "public."};
};

}  // namespace contract

#endif  // BW_TESTS_CONTRACT_CONTRACT_TEST_H
