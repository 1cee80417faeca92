#include <algorithm>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "contract/tables/table_contract.h"

namespace {

using contract::CountOf;
using contract::kNull;
using contract::ResultRow;
using contract::SentRows;
using contract::With;
using contract::WithNulls;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// What holds for every table, by the file of its expected calls.
class EveryTable : public contract::TableContract, public testing::WithParamInterface<std::string> {
 protected:
  EveryTable() : TableContract(GetParam()) { SetWhatTheRowsNeed(); }

  /// The columns, from 1, that a test chooses.
  template <class Choice>
  std::vector<std::size_t> Columns(Choice choice) const {
    std::vector<std::size_t> columns;
    for (std::size_t i = 0; i < expected().columns().size(); ++i) {
      if (choice(expected().columns()[i])) {
        columns.push_back(i + 1);
      }
    }
    return columns;
  }
};

TEST_P(EveryTable, MakesTheseCallsForTwoRows) {
  // A number that is sent as it was read must not come from a map, whichever it is.
  const bool needsGroups = !expected().Header("GroupIdMap").empty();
  const bool needsGroupOrders = !expected().Header("GroupOrderIdMap").empty();
  const bool needsPools = !expected().Header("PoolIdMap").empty();
  for (const ResultRow& row : expected().rows()) {
    for (const contract::Value& value : row) {
      if (const auto* number = std::get_if<std::int32_t>(&value); number != nullptr) {
        needsGroups || (db::GroupIdMap[*number] = 555001);
        needsGroupOrders || (db::GroupOrderIdMap[*number] = 555002);
        needsPools || (db::PoolIdMap[*number] = 555003);
      }
    }
  }
  SetRows({firstRow(), secondRow()});
  Migrate();
  EXPECT_EQ(contract::Calls(), expected().Calls());
}

TEST_P(EveryTable, RecordsTheseIdentifiersAndNoOthers) {
  SetRows({firstRow(), secondRow()});
  Migrate();
  const std::string records = expected().Header("records");
  const auto expectMap = [&](const std::string& name, const db::IdentifierMap& map) {
    const std::vector<std::int32_t> all = expected().Numbers(records.starts_with(name + " ") ? "records" : name);
    std::vector<std::int32_t> recorded;
    for (const auto& [key, value] : map) {
      recorded.insert(recorded.end(), {key, value});
    }
    EXPECT_EQ(recorded, all) << name;
  };
  expectMap("GroupIdMap", db::GroupIdMap);
  expectMap("GroupOrderIdMap", db::GroupOrderIdMap);
  expectMap("PoolIdMap", db::PoolIdMap);
  EXPECT_EQ(db::nextPoolId, GetParam() == "PoolOrders" ? 3 : 1);
}

TEST_P(EveryTable, LogsEachColumnOfARow) {
  SetRows({secondRow()});
  Migrate();
  EXPECT_THAT(LoggedRows(), ElementsAre(expected().Header("logs")));
}

// Of three equal rows only the first arrives when the second one holds a NULL, whichever column it is in. The
// diagnostics of a fetch are gathered although nobody sees them; nothing is read behind a column that cannot be read.
TEST_P(EveryTable, ANullInAColumnThatHasNoValueForItEndsTheTableSilently) {
  for (const std::size_t column : Columns([](const auto& candidate) { return !candidate.nullValue; })) {
    SCOPED_TRACE(expected().columns()[column - 1].name);
    SetRows({firstRow(), With(firstRow(), column, kNull), firstRow()});
    contract::AnyTablePair& built = Build();
    odbc_double::ClearCalls();
    Migrate(built);
    EXPECT_EQ(SentRows().size(), 1U);
    EXPECT_EQ(CountOf("SQLFetch"), 2U);
    EXPECT_EQ(CountOf("SQLGetDiagRec"), expected().bound() ? 2U : 0U);
    EXPECT_EQ(CountOf("SQLGetData"), expected().bound() ? 0U : firstRow().size() + column);
    EXPECT_THAT(console(), HasSubstr("Total rows read = 1 Total migrated rows = 1. "));
  }
}

TEST_P(EveryTable, EveryOtherNullIsReplacedAndNothingElse) {
  const std::vector<std::size_t> nullable = Columns([](const auto& column) { return column.nullValue.has_value(); });
  SetRows({WithNulls(firstRow(), nullable), firstRow(), WithNulls(firstRow(), nullable)});
  Migrate();
  std::vector<std::string> replaced = expected().SentFor(0);
  for (const std::size_t column : nullable) {
    const contract::ExpectedColumn& expectedColumn = expected().columns()[column - 1];
    replaced.at(expectedColumn.parameter - 1) = *expectedColumn.nullValue;
  }
  EXPECT_THAT(SentRows(), ElementsAre(contract::Joined(replaced), contract::Joined(expected().SentFor(0)),
                                      contract::Joined(replaced)));
}

TEST_P(EveryTable, TextsThatFillTheirColumnsArriveWholeAndLongerOnesAreCut) {
  ResultRow full = firstRow();
  ResultRow longer = firstRow();
  std::vector<std::string> sent = expected().SentFor(0);
  for (const std::size_t number : Columns([](const auto& column) { return column.readAs == "SQL_C_CHAR"; })) {
    const contract::ExpectedColumn& column = expected().columns()[number - 1];
    const std::string text = std::string(column.size - 2, 'x') + "!";
    full = With(full, number, text);
    longer = With(longer, number, text + "+");
    if (column.sentAs == "SQL_C_CHAR") {
      sent.at(column.parameter - 1) = '"' + text + '"';
    } else if (!column.sentAs.empty()) {
      sent.at(column.parameter - 1) = "2021161080";  // The Mode of Restrictions: "xxxx", which is 78787878 as bytes.
    }
  }
  SetRows({full, longer});
  Migrate();
  EXPECT_THAT(SentRows(), ElementsAre(contract::Joined(sent), contract::Joined(sent)));
  EXPECT_EQ(LoggedRows().size(), 2U);
}

TEST_P(EveryTable, WhatIsNoInputIsNotSent) {
  for (const std::size_t column : Columns([](const auto& candidate) { return candidate.direction != "in"; })) {
    SCOPED_TRACE(expected().columns()[column - 1].name);
    SetRows({With(firstRow(), column, 77701)});
    odbc_double::ClearCalls();
    Migrate();
    EXPECT_THAT(SentRows(), ElementsAre(contract::Joined(expected().SentFor(0))));
  }
}

TEST_P(EveryTable, AnEmptySourceTableLeavesTheDestinationEmptied) {
  Migrate();
  EXPECT_THAT(contract::Calls(), HasSubstr(expected().Header("truncate")));
  EXPECT_THAT(SentRows(), IsEmpty());
  EXPECT_THAT(console(), HasSubstr("Total rows read = 0 Total migrated rows = 0. "));
}

TEST_P(EveryTable, AFailingTruncateEndsTheRunWithItsDiagnosticsAndNothingIsRead) {
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecDirect", 1), contract::kRefused);
  EXPECT_EQ(CountOf("SQLFetch"), 0U);
}

TEST_P(EveryTable, AFailingSelectEndsTheRun) {
  // The source of GroupOrders deliberately gathers no diagnostics.
  const bool silent = GetParam() == "GroupOrders";
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecDirect", 2), silent ? "" : contract::kRefused);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), silent ? 0U : 2U);
  EXPECT_THAT(odbc_double::Calls().at(3), HasSubstr(expected().Header("select")));
  EXPECT_EQ(CountOf("SQLFetch"), 0U);
}

TEST_P(EveryTable, AFailingPreparationOrBindingEndsTheRunBeforeTheExecution) {
  SetRows({firstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLPrepare", 1), contract::kRefused);
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindParameter", expected().Parameters().size()), contract::kRefused);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
}

TEST_P(EveryTable, AFailingExecutionEndsTheRunWithItsDiagnosticsAndTheRowsBeforeStay) {
  SetRows({firstRow(), secondRow(), firstRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

TEST_P(EveryTable, AFetchErrorEndsTheTableWithoutAnError) {
  SetRows({firstRow(), secondRow()});
  odbc_double::OnCall("SQLFetch", 2, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), expected().bound() ? 2U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Tables, EveryTable, testing::ValuesIn(contract::TableNames()),
                         [](const auto& table) { return table.param; });

/// The four tables whose rows a procedure creates, each with a statement for each row.
class EveryProcedure : public EveryTable {};

TEST_P(EveryProcedure, OpenDoesNothingAndEachWriteFreesItsStatement) {
  db::GroupIdMap[0] = db::GroupOrderIdMap[0] = 901;
  const bool allocatesEach = expected().Header("statement") == "allocated for every row";
  Build();
  odbc_double::ClearCalls();
  pair().OpenDestination();
  EXPECT_THAT(odbc_double::Calls(), IsEmpty());
  pair().WriteZeros();
  EXPECT_EQ(CountOf("SQLAllocStmt"), allocatesEach ? 1U : 0U);
  EXPECT_EQ(odbc_double::Calls().back(),
            allocatesEach ? "SQLFreeHandle(SQL_HANDLE_STMT, stmt3)" : "SQLFreeHandle(SQL_HANDLE_STMT, stmt2)");
  pair().WriteZeros();
  EXPECT_EQ(CountOf("SQLAllocStmt"), allocatesEach ? 2U : 1U);
  EXPECT_EQ(odbc_double::Calls().back(),
            allocatesEach ? "SQLFreeHandle(SQL_HANDLE_STMT, stmt4)" : "SQLFreeHandle(SQL_HANDLE_STMT, stmt3)");
}

TEST_P(EveryProcedure, AFailingExecutionLeavesItsStatementToThePair) {
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  const bool allocatesEach = expected().Header("statement") == "allocated for every row";
  const std::vector<std::string> held =
      allocatesEach ? std::vector<std::string>{"stmt1", "stmt2", "stmt4"} : std::vector<std::string>{"stmt1", "stmt3"};
  std::vector<std::string> handles = {"env1", "dbc1", "env2", "dbc2"};
  handles.insert(handles.end(), held.begin(), held.end());
  EXPECT_EQ(odbc_double::LiveHandles(), handles);
  odbc_double::ClearCalls();
  DestroyPair();
  EXPECT_THAT(odbc_double::Calls(), ElementsAre("SQLFreeHandle(SQL_HANDLE_STMT, " + held.back() + ")",
                                                "SQLFreeHandle(SQL_HANDLE_STMT, stmt1)"));
}

TEST_P(EveryProcedure, AFailingAllocationEndsTheRunWithoutDiagnostics) {
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLAllocStmt", 3), "SQL Error: ");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetDiagRec(SQL_HANDLE_STMT, null, 1, 512) -> SQL_INVALID_HANDLE");
  EXPECT_EQ(CountOf("SQLPrepare"), GetParam() == "SecGroups" ? 0U : 1U);
}

INSTANTIATE_TEST_SUITE_P(Tables, EveryProcedure, testing::Values("GroupDesc", "GroupOrders", "Orders", "SecGroups"),
                         [](const auto& table) { return table.param; });

}  // namespace
