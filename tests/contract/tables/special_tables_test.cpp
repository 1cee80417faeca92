#include <cstdint>
#include <string>
#include <vector>

#include "contract/tables/table_contract.h"

/// What is special about single tables, besides what the files of their expected calls say.
namespace {

using contract::CountOf;
using contract::kMissingKey;
using contract::kNull;
using contract::OutOfRangeOf;
using contract::ResultRow;
using contract::Sent;
using contract::SentRows;
using contract::With;
using contract::WithNulls;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class SystemDataTable : public contract::TableContract {
 protected:
  SystemDataTable() : TableContract("SystemData") {}
};

TEST_F(SystemDataTable, TheSchemaIsPutInFrontOfTheTableAsItIs) {
  for (const std::string schema : {"", "dbo.", "dbo"}) {
    odbc::DBConnection schemaSource("Old", "reader", "secret", schema);
    odbc::DBConnection schemaDestination("New", "writer", "secret", schema);
    schemaSource.Connect();
    schemaDestination.Connect();
    Migrate(*contract::MakeTablePair("SystemData", schemaSource, schemaDestination));
    EXPECT_THAT(contract::Calls(), HasSubstr(", \"TRUNCATE " + schema + "\"SystemData\" RESTART IDENTITY;\", "));
    EXPECT_THAT(contract::Calls(), HasSubstr(", \"SELECT [KeyName], [KeyValue] FROM " + schema + "[SystemData]\", "));
    EXPECT_THAT(contract::Calls(), HasSubstr(", \"INSERT INTO " + schema + "\"SystemData\"(\"KeyName\", "));
    odbc_double::ClearCalls();
  }
}

class GroupDescTable : public contract::TableContract {
 protected:
  GroupDescTable() : TableContract("GroupDesc") { SetWhatTheRowsNeed(); }
};

TEST_F(GroupDescTable, GroupsWithTheSameGroupIdAreAllCreatedAndTheFirstNewOneIsKept) {
  SetRows({firstRow(), With(secondRow(), 1, 101)});
  Migrate();
  EXPECT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(db::GroupIdMap, (db::IdentifierMap{{101, 901}}));
}

TEST_F(GroupDescTable, AGroupThatIsNotCreatedIsNotRecorded) {
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::GroupIdMap, (db::IdentifierMap{{101, 901}}));
}

class ClientsTable : public contract::TableContract {
 protected:
  ClientsTable() : TableContract("Clients") {}
};

TEST_F(ClientsTable, WithoutMigratedGroupsTheFirstClientEndsTheRunAndIsNotSent) {
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
  EXPECT_EQ(console(), "Start migrate Clients table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(db::GroupIdMap, IsEmpty());
}

TEST_F(ClientsTable, ClientsInFrontOfTheOneWithoutGroupStay) {
  db::GroupIdMap = {{102, 901}};
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(SentRows(), ElementsAre(R"("ClientCode-1", 901, 103, 4.5, "Comment-1")"));
  EXPECT_EQ(LoggedRows().size(), 1U);
}

class GroupOrdersTable : public contract::TableContract {
 protected:
  GroupOrdersTable() : TableContract("GroupOrders") { SetWhatTheRowsNeed(); }
};

TEST_F(GroupOrdersTable, OrdersWithTheSameIdAreAllCreatedAndTheFirstNewOneIsKept) {
  SetRows({firstRow(), With(secondRow(), 1, 101)});
  Migrate();
  EXPECT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{101, 801}}));
}

TEST_F(GroupOrdersTable, AnOrderThatIsNotCreatedIsNotRecorded) {
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::GroupOrderIdMap, (db::IdentifierMap{{101, 801}}));
}

TEST_F(GroupOrdersTable, AMissingGroupEndsTheRunBehindTheBindingAndBeforeTheExecution) {
  db::GroupIdMap.clear();
  SetRows({firstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(),
            "SQLBindParameter(stmt2, 23, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, "
            "null)");
  EXPECT_EQ(CountOf("SQLBindParameter"), 23U);
  EXPECT_THAT(db::GroupOrderIdMap, IsEmpty());
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2"));
}

TEST_F(GroupOrdersTable, AFailingColumnBindingEndsTheRunWithAnEmptyMessageAndAsksForNoDiagnostics) {
  EXPECT_EQ(MigrateUntilFailureOf("SQLBindCol", 2), "");
  EXPECT_EQ(odbc_double::Calls().back(), "SQLBindCol(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null) -> SQL_ERROR");
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

class OrdersTable : public contract::TableContract {
 protected:
  OrdersTable() : TableContract("Orders") { SetWhatTheRowsNeed(); }
};

TEST_F(OrdersTable, AnOrderWithoutGroupOrderEndsTheRunAndTheOrdersBeforeItStay) {
  SetRows({firstRow(), With(firstRow(), 2, 0), firstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

TEST_F(OrdersTable, AMissingGroupOrderEndsTheRunBehindTheBindingAndBeforeTheExecution) {
  SetRows({With(firstRow(), 2, 4711)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(),
            "SQLBindParameter(stmt2, 22, SQL_PARAM_OUTPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, "
            "null)");
  EXPECT_EQ(CountOf("SQLBindParameter"), 22U);
  EXPECT_THAT(LoggedRows(), IsEmpty());
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "stmt1", "stmt2"));
}

class SecGroupsTable : public contract::TableContract {
 protected:
  SecGroupsTable() : TableContract("SecGroups") { SetWhatTheRowsNeed(); }
};

TEST_F(SecGroupsTable, TheStatementOfTheConstructionGoesWithTheConnection) {
  SetRows({firstRow(), secondRow()});
  {
    odbc::DBConnection ownDestination("New", "writer", "secret", "public.");
    ownDestination.Connect();
    Migrate(*contract::MakeTablePair("SecGroups", source, ownDestination));
    EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2", "env3", "dbc3", "stmt2"));
  }
  EXPECT_THAT(odbc_double::LiveHandles(), ElementsAre("env1", "dbc1", "env2", "dbc2"));
  EXPECT_THAT(odbc_double::Violations(), IsEmpty());
}

class RestrictionsTable : public contract::TableContract {
 protected:
  RestrictionsTable() : TableContract("Restrictions") {}
};

TEST_F(RestrictionsTable, TheFirstFourBytesOfAModeAreSentAsANumber) {
  SetRows({With(firstRow(), 4, ""), With(firstRow(), 4, "1"), With(firstRow(), 4, "1234567890")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("0", "49", "875770417"));
}

// The row buffers are not cleared between rows: behind the zero of "1", the '3' and '4' of the row before are left.
TEST_F(RestrictionsTable, BytesOfALongerModeStayBehindAShorterOneAndAreSentWithIt) {
  SetRows({With(firstRow(), 4, "12345"), With(firstRow(), 4, "1"), With(firstRow(), 4, "")});
  Migrate();
  EXPECT_THAT(Sent(4), ElementsAre("875770417", "875757617", "875757568"));
}

class PoolOrdersTable : public contract::TableContract {
 protected:
  PoolOrdersTable() : TableContract("PoolOrders") {}
};

TEST_F(PoolOrdersTable, AnEmptyTableRecordsNothing) {
  Migrate();
  EXPECT_THAT(db::PoolIdMap, IsEmpty());
  EXPECT_EQ(db::nextPoolId, 1);
}

TEST_F(PoolOrdersTable, ARowWhoseInsertFailsHasConsumedItsPosition) {
  SetRows({With(firstRow(), 1, 10), With(firstRow(), 1, 20), With(firstRow(), 1, 30)});
  EXPECT_EQ(MigrateUntilFailureOf("SQLExecute", 2), contract::kRefused);
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}, {2, 20}}));
  EXPECT_EQ(db::nextPoolId, 3);
  pair().ReadRow();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}, {2, 20}, {3, 30}}));
}

TEST_F(PoolOrdersTable, APositionThatIsRecordedKeepsItsPool) {
  db::PoolIdMap = {{1, 77}};
  SetRows({With(firstRow(), 1, 10)});
  Migrate();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 77}}));
  EXPECT_EQ(db::nextPoolId, 2);
}

TEST_F(PoolOrdersTable, ARowThatCannotBeFetchedConsumesNoPosition) {
  SetRows({With(firstRow(), 1, 10), With(firstRow(), 3, kNull), With(firstRow(), 1, 30)});
  Migrate();
  EXPECT_EQ(db::PoolIdMap, (db::IdentifierMap{{1, 10}}));
  EXPECT_EQ(db::nextPoolId, 2);
}

class OrdersInPoolTable : public contract::TableContract {
 protected:
  OrdersInPoolTable() : TableContract("OrdersInPool") {}
};

TEST_F(OrdersInPoolTable, WithoutMigratedPoolsTheFirstOrderEndsTheRunAndIsNotSent) {
  SetRows({firstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(CountOf("SQLExecute"), 0U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
  EXPECT_EQ(console(), "Start migrate OrdersInPool table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
}

TEST_F(OrdersInPoolTable, APoolIdBeyondTheNumberOfPoolsEndsTheRunAndTheOrdersBeforeItStay) {
  db::PoolIdMap = {{1, 10}, {2, 20}};
  SetRows({With(firstRow(), 2, 1), With(firstRow(), 2, 2), With(firstRow(), 2, 10)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(Sent(1), ElementsAre("10", "20"));
  EXPECT_EQ(LoggedRows().size(), 2U);
}

class GroupNegOrdersTable : public contract::TableContract {
 protected:
  GroupNegOrdersTable() : TableContract("GroupNegOrders") {}
};

TEST_F(GroupNegOrdersTable, NumbersAtTheEndsOfTheirRangeArriveAsTheyAre) {
  db::GroupIdMap = {{102, 901}};
  SetRows({With(With(firstRow(), 25, 2147483647), 30, -2147483647 - 1)});
  Migrate();
  EXPECT_THAT(Sent(25), ElementsAre("2147483647"));
  EXPECT_THAT(Sent(30), ElementsAre("-2147483648"));
}

TEST_F(GroupNegOrdersTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({firstRow(), WithNulls(secondRow(), {1, 3, 4, 5, 6, 7, 8, 9, 10, 16, 17, 18, 28, 29})});
  Migrate();
  ASSERT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(SentRows()[1],
            R"(101, 902, 20240103, 101504, "E", "SecCode-1", "ClassCode-1", "CPFirmID-1", "SettleCode-1", )"
            R"("MatchRef-1", 1.2345e-05, -12.25, 1.23457e+06, -14.25, -15.25, "P", "Q", 118, -19.25, -20.25, )"
            R"(-21.25, -22.25, -23.25, -24.25, 225, 226, 227, 128, "BWSessionID-1", 230)");
}

// The row buffer holds the new GroupID of the row before, which is looked up as if the source had it.
TEST_F(GroupNegOrdersTable, WhereTheDriverIgnoresANullGroupTheNewIdOfTheRowBeforeIsLookedUp) {
  odbc_double::IgnoreNullsWithoutIndicator();
  db::GroupIdMap = {{102, 901}, {901, 907}};
  SetRows({firstRow(), With(firstRow(), 2, kNull), With(firstRow(), 2, kNull)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(Sent(2), ElementsAre("901", "907"));
}

TEST_F(GroupNegOrdersTable, AMissingGroupEndsTheRunWhileTheRowIsReadBehindItsSecondColumn) {
  SetRows({firstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)");
  EXPECT_EQ(CountOf("SQLGetData"), 2U);
  EXPECT_EQ(console(), "Start migrate GroupNegOrders table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
}

TEST_F(GroupNegOrdersTable, OrdersInFrontOfTheOneWhoseGroupIsMissingStay) {
  db::GroupIdMap = {{102, 901}};
  SetRows({firstRow(), secondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

class NegOrdersTable : public contract::TableContract {
 protected:
  NegOrdersTable() : TableContract("NegOrders") {}
};

// 0.1 is 3FB99999 9999999A and 3.141592653589793 is 400921FB 54442D18 as a double; small whole numbers end in zeros.
TEST_F(NegOrdersTable, TheLowFourBytesOfARepoTermAndOfFlagsArrive) {
  SetRows({With(With(firstRow(), 24, 0.1), 25, 3.141592653589793), With(firstRow(), 24, 7)});
  Migrate();
  EXPECT_THAT(Sent(24), ElementsAre("-1717986918", "0"));
  EXPECT_THAT(Sent(25), ElementsAre("1413754136", "0"));
}

TEST_F(NegOrdersTable, TheHighBytesOfARepoTermAndOfFlagsAreOverwrittenByTheFieldsBehindThem) {
  SetRows({With(With(firstRow(), 24, 0.1), 25, kNull), With(With(firstRow(), 24, kNull), 25, 0.1)});
  Migrate();
  EXPECT_THAT(Sent(25), ElementsAre("-2147483648", "-1717986918"));
  EXPECT_THAT(Sent(26), ElementsAre("126", "126"));
}

// All but BWUserID: in its place are the high bytes of the Flags of the row, 3.0 being 40080000 00000000.
TEST_F(NegOrdersTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  SetRows(
      {firstRow(), With(WithNulls(secondRow(), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 16, 17, 18, 26, 27}), 25, 3)});
  Migrate();
  ASSERT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(SentRows()[1],
            R"(101, 102, 20240103, 101504, "E", "ClassCode-1", "SecCode-1", "ClientCode-1", "TrdAcc-1", )"
            R"("CPFirmId-1", "SettleCode-1", "MatchRef-1", 1.2345e-05, -14.25, 1.23457e+06, 16.5, "Q", "R", -19.25, )"
            R"(-20.25, -21.25, -22.25, -23.25, -1717986918, 0, 1074266112, "BWSessionID-1", 228)");
}

class ExportOrderTable : public contract::TableContract {
 protected:
  ExportOrderTable() : TableContract("ExportOrder") {}

  /// The bytes of BrokerPoolID in a row record.
  std::string BrokerPoolIdIn(const void* row) const {
    const std::size_t offset = expected().Fields().at(12).offset;
    return {static_cast<const char*>(row) + offset, 33};
  }
};

TEST_F(ExportOrderTable, ABrokerPoolIdIsSentAsTheBytesOfItsNumber) {
  SetRows({With(firstRow(), 13, 65), With(firstRow(), 13, "65"), With(firstRow(), 13, 256), With(firstRow(), 13, 0),
           With(firstRow(), 13, 16961), With(firstRow(), 13, 1145258561)});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre(R"("A")", R"("A")", R"("")", R"("")", R"("AB")", R"("ABCD")"));
}

// The row buffers are not cleared between rows, and a NULL clears one byte only.
TEST_F(ExportOrderTable, ANullBrokerPoolIdLeavesTheBytesBehindItsFirstOneFromTheRowBefore) {
  SetRows({With(firstRow(), 13, 16961), With(firstRow(), 13, kNull)});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre(R"("AB")", R"("")"));
  std::string bytes(33, '\0');
  bytes[1] = 'B';
  EXPECT_EQ(BrokerPoolIdIn(pair().sourceRow()), bytes);
  EXPECT_EQ(BrokerPoolIdIn(pair().destinationRow()), bytes);
}

TEST_F(ExportOrderTable, ABrokerPoolIdThatIsNoNumberEndsTheTableSilently) {
  SetRows({firstRow(), With(firstRow(), 13, "POOL-7"), firstRow()});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLFetch"), 2U);
  EXPECT_EQ(CountOf("SQLGetData"), 42U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

TEST_F(ExportOrderTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  SetRows({firstRow(), ResultRow(29, kNull)});
  Migrate();
  ASSERT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(SentRows()[1],
            R"(101, 102, 103, 104, 20240105, 20240106, 101507, 101508, 109, 110, "UserGroupCode-1", -1, "", )"
            R"("ClientCode-1", "TrdAcc-1", 16.5, 17.5, 18.5, "S", "T", "ClassCode-1", "SecCode-1", 23.5, 24.5, )"
            R"(25.5, 26.5, 27.5, 28.5, 129)");
}

}  // namespace
