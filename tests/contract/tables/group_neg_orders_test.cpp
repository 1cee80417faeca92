#include "db/tables/group_neg_orders.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
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
using testing::IsEmpty;

class GroupNegOrdersTable : public contract::TableContract<db::DBTableGroupNegOrdersSrc, db::DBTableGroupNegOrdersDst> {
 protected:
  GroupNegOrdersTable()
      : TableContract("GroupNegOrders", {BW_FIELD(Row, ID),
                                         BW_FIELD(Row, GroupID),
                                         BW_FIELD(Row, TradeDate),
                                         BW_FIELD(Row, TradeTime),
                                         BW_FIELD(Row, Buy),
                                         BW_FIELD(Row, SecCode),
                                         BW_FIELD(Row, ClassCode),
                                         BW_FIELD(Row, CPFirmID),
                                         BW_FIELD(Row, SettleCode),
                                         BW_FIELD(Row, MatchRef),
                                         BW_FIELD(Row, Price),
                                         BW_FIELD(Row, Vozm),
                                         BW_FIELD(Row, Qty),
                                         BW_FIELD(Row, RealQty),
                                         BW_FIELD(Row, KilledQty),
                                         BW_FIELD(Row, Status),
                                         BW_FIELD(Row, Result),
                                         BW_FIELD(Row, OrdersCount),
                                         BW_FIELD(Row, RepoValue),
                                         BW_FIELD(Row, RealRepoValue),
                                         BW_FIELD(Row, Discount),
                                         BW_FIELD(Row, DiscountUpper),
                                         BW_FIELD(Row, DiscountLower),
                                         BW_FIELD(Row, RepoRate),
                                         BW_FIELD(Row, RepoTerm),
                                         BW_FIELD(Row, OrderType),
                                         BW_FIELD(Row, Flags),
                                         BW_FIELD(Row, BWUserID),
                                         BW_FIELD(Row, BWSessionID),
                                         BW_FIELD(Row, BWCounter)}) {}
};

ResultRow FirstRow() {
  return {101,
          102,
          20240103,
          101504,
          "E",
          "SecCode-1",
          "ClassCode-1",
          "CPFirmID-1",
          "SettleCode-1",
          "MatchRef-1",
          11.5,
          12.5,
          13.5,
          14.5,
          15.5,
          "P",
          "Q",
          118,
          19.5,
          20.5,
          21.5,
          22.5,
          23.5,
          24.5,
          125,
          126,
          127,
          128,
          "BWSessionID-1",
          130};
}

ResultRow SecondRow() {
  return {201,
          202,
          20251203,
          235904,
          "e",
          "SecCode-abcd",
          "ClassCode-ab",
          "CPFirmID-abc",
          "SettleCode-a",
          "MatchRef-a",
          1.2345e-05,
          -12.25,
          1234567.891,
          -14.25,
          -15.25,
          "p",
          "q",
          -218,
          -19.25,
          -20.25,
          -21.25,
          -22.25,
          -23.25,
          -24.25,
          225,
          226,
          227,
          228,
          "BWSessionID of row 2",
          230};
}

TEST_F(GroupNegOrdersTable, MakesTheseCallsForTwoRows) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."GroupNegOrders" RESTART IDENTITY;", 50)
SQLExecDirect(stmt1, "SELECT [ID], [GroupID], [TradeDate], [TradeTime], [Buy], [SecCode], [ClassCode], [CPFirmID], [SettleCode], [MatchRef], [Price], [Vozm], [Qty], [RealQty], [KilledQty], [Status], [Result], [OrdersCount], [RepoValue], [RealRepoValue], [Discount], [DiscountUpper], [DiscountLower], [RepoRate], [RepoTerm], [OrderType], [Flags], [BWUserID], [BWSessionID], [BWCounter] FROM dbo.[GroupNegOrders];", 389)
SQLPrepare(stmt2, "INSERT INTO public."GroupNegOrders"("ID", "GroupID", "TradeDate", "TradeTime", "Buy", "SecCode", "ClassCode", "CPFirmID", "SettleCode", "MatchRef", "Price", "Vozm", "Qty", "RealQty", "KilledQty", "Status", "Result", "OrdersCount", "RepoValue", "RealRepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm", "OrderType", "Flags", "BWUserID", "BWSessionID", "BWCounter") VALUES (? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.ID, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.CPFirmID, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SettleCode, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 11, 0, destination.MatchRef, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Vozm, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RealQty, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.KilledQty, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrdersCount, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoValue, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RealRepoValue, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Discount, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountUpper, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountLower, 0, null)
SQLBindParameter(stmt2, 24, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoRate, 0, null)
SQLBindParameter(stmt2, 25, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.RepoTerm, 0, null)
SQLBindParameter(stmt2, 26, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderType, 0, null)
SQLBindParameter(stmt2, 27, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Flags, 0, null)
SQLBindParameter(stmt2, 28, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 29, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 30, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.TradeTime, 4, null)
SQLGetData(stmt1, 5, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 6, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 7, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 8, SQL_C_CHAR, source.CPFirmID, 13, null)
SQLGetData(stmt1, 9, SQL_C_CHAR, source.SettleCode, 13, null)
SQLGetData(stmt1, 10, SQL_C_CHAR, source.MatchRef, 11, null)
SQLGetData(stmt1, 11, SQL_C_DOUBLE, source.Price, 8, indicator)
SQLGetData(stmt1, 12, SQL_C_DOUBLE, source.Vozm, 8, indicator)
SQLGetData(stmt1, 13, SQL_C_DOUBLE, source.Qty, 8, indicator)
SQLGetData(stmt1, 14, SQL_C_DOUBLE, source.RealQty, 8, indicator)
SQLGetData(stmt1, 15, SQL_C_DOUBLE, source.KilledQty, 8, indicator)
SQLGetData(stmt1, 16, SQL_C_CHAR, source.Status, 2, null)
SQLGetData(stmt1, 17, SQL_C_CHAR, source.Result, 2, null)
SQLGetData(stmt1, 18, SQL_C_LONG, source.OrdersCount, 4, null)
SQLGetData(stmt1, 19, SQL_C_DOUBLE, source.RepoValue, 8, indicator)
SQLGetData(stmt1, 20, SQL_C_DOUBLE, source.RealRepoValue, 8, indicator)
SQLGetData(stmt1, 21, SQL_C_DOUBLE, source.Discount, 8, indicator)
SQLGetData(stmt1, 22, SQL_C_DOUBLE, source.DiscountUpper, 8, indicator)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.DiscountLower, 8, indicator)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoRate, 8, indicator)
SQLGetData(stmt1, 25, SQL_C_LONG, source.RepoTerm, 4, indicator)
SQLGetData(stmt1, 26, SQL_C_LONG, source.OrderType, 4, indicator)
SQLGetData(stmt1, 27, SQL_C_LONG, source.Flags, 4, indicator)
SQLGetData(stmt1, 28, SQL_C_LONG, source.BWUserID, 4, null)
SQLGetData(stmt1, 29, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLGetData(stmt1, 30, SQL_C_LONG, source.BWCounter, 4, indicator)
SQLExecute(stmt2) sends 101, 901, 20240103, 101504, "E", "SecCode-1", "ClassCode-1", "CPFirmID-1", "SettleCode-1", "MatchRef-1", 11.5, 12.5, 13.5, 14.5, 15.5, "P", "Q", 118, 19.5, 20.5, 21.5, 22.5, 23.5, 24.5, 125, 126, 127, 128, "BWSessionID-1", 130
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.ID, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.TradeTime, 4, null)
SQLGetData(stmt1, 5, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 6, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 7, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 8, SQL_C_CHAR, source.CPFirmID, 13, null)
SQLGetData(stmt1, 9, SQL_C_CHAR, source.SettleCode, 13, null)
SQLGetData(stmt1, 10, SQL_C_CHAR, source.MatchRef, 11, null)
SQLGetData(stmt1, 11, SQL_C_DOUBLE, source.Price, 8, indicator)
SQLGetData(stmt1, 12, SQL_C_DOUBLE, source.Vozm, 8, indicator)
SQLGetData(stmt1, 13, SQL_C_DOUBLE, source.Qty, 8, indicator)
SQLGetData(stmt1, 14, SQL_C_DOUBLE, source.RealQty, 8, indicator)
SQLGetData(stmt1, 15, SQL_C_DOUBLE, source.KilledQty, 8, indicator)
SQLGetData(stmt1, 16, SQL_C_CHAR, source.Status, 2, null)
SQLGetData(stmt1, 17, SQL_C_CHAR, source.Result, 2, null)
SQLGetData(stmt1, 18, SQL_C_LONG, source.OrdersCount, 4, null)
SQLGetData(stmt1, 19, SQL_C_DOUBLE, source.RepoValue, 8, indicator)
SQLGetData(stmt1, 20, SQL_C_DOUBLE, source.RealRepoValue, 8, indicator)
SQLGetData(stmt1, 21, SQL_C_DOUBLE, source.Discount, 8, indicator)
SQLGetData(stmt1, 22, SQL_C_DOUBLE, source.DiscountUpper, 8, indicator)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.DiscountLower, 8, indicator)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoRate, 8, indicator)
SQLGetData(stmt1, 25, SQL_C_LONG, source.RepoTerm, 4, indicator)
SQLGetData(stmt1, 26, SQL_C_LONG, source.OrderType, 4, indicator)
SQLGetData(stmt1, 27, SQL_C_LONG, source.Flags, 4, indicator)
SQLGetData(stmt1, 28, SQL_C_LONG, source.BWUserID, 4, null)
SQLGetData(stmt1, 29, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLGetData(stmt1, 30, SQL_C_LONG, source.BWCounter, 4, indicator)
SQLExecute(stmt2) sends 201, 902, 20251203, 235904, "e", "SecCode-abcd", "ClassCode-ab", "CPFirmID-abc", "SettleCode-a", "MatchRef-a", 1.2345e-05, -12.25, 1.23457e+06, -14.25, -15.25, "p", "q", -218, -19.25, -20.25, -21.25, -22.25, -23.25, -24.25, 225, 226, 227, 228, "BWSessionID of row 2", 230
SQLFetch(stmt1) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(GroupNegOrdersTable, LogsEachColumnOfARow) {
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [ID] = 201, [GroupID] = 902, [TradeDate] = 20251203, [TradeTime] = 235904, [Buy] = e, [SecCode] = SecCode-abcd, [ClassCode] = ClassCode-ab, [CPFirmID] = CPFirmID-abc, [SettleCode] = SettleCode-a, [MatchRef] = MatchRef-a, [Price] = 1.2345e-05, [Vozm] = -12.25, [Qty] = 1.23457e+06, [RealQty] = -14.25, [KilledQty] = -15.25, [Status] = p, [Result] = q, [OrdersCount] = -218, [RepoValue] = -19.25, [RealRepoValue] = -20.25, [Discount] = -21.25, [DiscountUpper] = -22.25, [DiscountLower] = -23.25, [RepoRate] = -24.25, [RepoTerm] = 225, [OrderType] = 226, [Flags] = 227, [BWUserID] = 228, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 230;)"));
}

TEST_F(GroupNegOrdersTable, ANullPriceAndANullCounterAreSentAsTheirReplacements) {
  db::GroupIdMap = {{102, 901}};
  SetRows({WithNulls(FirstRow(), {11, 30})});
  Migrate();
  EXPECT_THAT(Sent(11), ElementsAre("1e+50"));
  EXPECT_THAT(Sent(30), ElementsAre("-2147483648"));
}

TEST_F(GroupNegOrdersTable, EveryNumberThatMayBeNullIsReplacedAndNothingElse) {
  db::GroupIdMap = {{102, 901}};
  SetRows({WithNulls(FirstRow(), {11, 12, 13, 14, 15, 19, 20, 21, 22, 23, 24, 25, 26, 27, 30})});
  Migrate();
  EXPECT_THAT(SentRows(),
              ElementsAre(R"(101, 901, 20240103, 101504, "E", "SecCode-1", "ClassCode-1", "CPFirmID-1", )"
                          R"("SettleCode-1", "MatchRef-1", 1e+50, 1e+50, 1e+50, 1e+50, 1e+50, "P", "Q", 118, )"
                          R"(1e+50, 1e+50, 1e+50, 1e+50, 1e+50, 1e+50, -2147483648, -2147483648, -2147483648, 128, )"
                          R"("BWSessionID-1", -2147483648)"));
}

TEST_F(GroupNegOrdersTable, AReplacedValueIsReplacedAgainByTheNextRow) {
  db::GroupIdMap = {{102, 901}};
  SetRows({WithNulls(FirstRow(), {11, 25}), FirstRow(), WithNulls(FirstRow(), {11, 25})});
  Migrate();
  EXPECT_THAT(Sent(11), ElementsAre("1e+50", "11.5", "1e+50"));
  EXPECT_THAT(Sent(25), ElementsAre("-2147483648", "125", "-2147483648"));
}

TEST_F(GroupNegOrdersTable, NumbersAtTheEndsOfTheirRangeArriveAsTheyAre) {
  db::GroupIdMap = {{102, 901}};
  SetRows({With(With(FirstRow(), 25, 2147483647), 30, -2147483647 - 1)});
  Migrate();
  EXPECT_THAT(Sent(25), ElementsAre("2147483647"));
  EXPECT_THAT(Sent(30), ElementsAre("-2147483648"));
}

TEST_F(GroupNegOrdersTable, ANullInAnyOtherColumnEndsTheTableSilently) {
  db::GroupIdMap = {{102, 901}};
  ExpectANullEndsTheTableSilently(FirstRow(), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 16, 17, 18, 28, 29});
}

TEST_F(GroupNegOrdersTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  db::GroupIdMap = {{102, 901}, {202, 902}};
  SetRows({FirstRow(), WithNulls(SecondRow(), {1, 3, 4, 5, 6, 7, 8, 9, 10, 16, 17, 18, 28, 29})});
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
  SetRows({FirstRow(), With(FirstRow(), 2, kNull), With(FirstRow(), 2, kNull)});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_THAT(Sent(2), ElementsAre("901", "907"));
}

TEST_F(GroupNegOrdersTable, AMissingGroupEndsTheRunWhileTheRowIsReadBehindItsSecondColumn) {
  SetRows({FirstRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(odbc_double::Calls().back(), "SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupID, 4, null)");
  EXPECT_EQ(CountOf("SQLGetData"), 2U);
  EXPECT_EQ(console(), "Start migrate GroupNegOrders table\n");
  EXPECT_THAT(LoggedRows(), IsEmpty());
}

TEST_F(GroupNegOrdersTable, OrdersInFrontOfTheOneWhoseGroupIsMissingStay) {
  db::GroupIdMap = {{102, 901}};
  SetRows({FirstRow(), SecondRow()});
  EXPECT_EQ(OutOfRangeOf([this] { Migrate(); }), kMissingKey);
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(LoggedRows().size(), 1U);
}

TEST_F(GroupNegOrdersTable, AFetchErrorEndsTheTableWithoutGatheringDiagnostics) {
  db::GroupIdMap = {{102, 901}};
  SetRows({FirstRow(), FirstRow()});
  odbc_double::OnCall("SQLFetch", 2, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

TEST_F(GroupNegOrdersTable, ATextThatIsLongerThanItsFieldIsCutAndTheTableGoesOn) {
  db::GroupIdMap = {{102, 901}};
  SetRows({With(FirstRow(), 6, "SECURITYCODE+"), FirstRow()});
  Migrate();
  EXPECT_THAT(Sent(6), ElementsAre(R"("SECURITYCODE")", R"("SecCode-1")"));
}

}  // namespace
