#include "db/tables/neg_orders.h"

#include "contract/tables/table_contract.h"

namespace {

using contract::Calls;
using contract::CountOf;
using contract::kNull;
using contract::ResultRow;
using contract::Sent;
using contract::SentRows;
using contract::With;
using contract::WithNulls;
using testing::ElementsAre;

class NegOrdersTable : public contract::TableContract<db::DBTableNegOrdersSrc, db::DBTableNegOrdersDst> {
 protected:
  NegOrdersTable()
      : TableContract("NegOrders",
                      {BW_FIELD(Row, OrderId),       BW_FIELD(Row, GroupOrderID), BW_FIELD(Row, TradeDate),
                       BW_FIELD(Row, TradeTime),     BW_FIELD(Row, Buy),          BW_FIELD(Row, ClassCode),
                       BW_FIELD(Row, SecCode),       BW_FIELD(Row, ClientCode),   BW_FIELD(Row, TrdAcc),
                       BW_FIELD(Row, CPFirmId),      BW_FIELD(Row, SettleCode),   BW_FIELD(Row, MatchRef),
                       BW_FIELD(Row, Price),         BW_FIELD(Row, Vozm),         BW_FIELD(Row, Qty),
                       BW_FIELD(Row, OrderNum),      BW_FIELD(Row, Status),       BW_FIELD(Row, Result),
                       BW_FIELD(Row, RepoValue),     BW_FIELD(Row, Discount),     BW_FIELD(Row, DiscountUpper),
                       BW_FIELD(Row, DiscountLower), BW_FIELD(Row, RepoRate),     BW_FIELD(Row, RepoTerm),
                       BW_FIELD(Row, Flags),         BW_FIELD(Row, BWUserID),     BW_FIELD(Row, BWSessionID),
                       BW_FIELD(Row, BWCounter)}) {}
};

ResultRow FirstRow() {
  return {101,
          102,
          20240103,
          101504,
          "E",
          "ClassCode-1",
          "SecCode-1",
          "ClientCode-1",
          "TrdAcc-1",
          "CPFirmId-1",
          "SettleCode-1",
          "MatchRef-1",
          13.5,
          14.5,
          15.5,
          16.5,
          "Q",
          "R",
          19.5,
          20.5,
          21.5,
          22.5,
          23.5,
          7,
          3,
          126,
          "BWSessionID-1",
          128};
}

ResultRow SecondRow() {
  return {201,
          202,
          20251203,
          235904,
          "e",
          "ClassCode-ab",
          "SecCode-abcd",
          "ClientCode-a",
          "TrdAcc-abcde",
          "CPFirmId-abc",
          "SettleCode-a",
          "MatchRef-a",
          1.2345e-05,
          -14.25,
          1234567.891,
          -16.25,
          "q",
          "r",
          -19.25,
          -20.25,
          -21.25,
          -22.25,
          -23.25,
          0.1,
          0.3,
          226,
          "BWSessionID of row 2",
          228};
}

TEST_F(NegOrdersTable, MakesTheseCallsForTwoRows) {
  SetRows({FirstRow(), SecondRow()});
  Migrate();
  EXPECT_EQ(Calls(), R"(
SQLAllocStmt(dbc1)
SQLAllocStmt(dbc2)
SQLExecDirect(stmt2, "TRUNCATE public."NegOrders" RESTART IDENTITY;", 45)
SQLExecDirect(stmt1, "SELECT [OrderId], [GroupOrderID], [TradeDate], [TradeTime], [Buy], [ClassCode], [SecCode], [ClientCode], [TrdAcc], [CPFirmId], [SettleCode], [MatchRef], [Price], [Vozm], [Qty], [OrderNum], [Status], [Result], [RepoValue], [Discount], [DiscountUpper], [DiscountLower], [RepoRate], [RepoTerm], [Flags], [BWUserID], [BWSessionID], [BWCounter] FROM dbo.[NegOrders];", 361)
SQLPrepare(stmt2, "INSERT INTO public."NegOrders"("OrderId", "GroupOrderID", "TradeDate", "TradeTime", "Buy", "ClassCode", "SecCode", "ClientCode", "TrdAcc", "CPFirmId", "SettleCode", "MatchRef", "Price", "Vozm", "Qty", "OrderNum", "Status", "Result", "RepoValue", "Discount", "DiscountUpper", "DiscountLower", "RepoRate", "RepoTerm", "Flags", "BWUserID", "BWSessionID", "BWCounter") VALUES(? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? , ? );", SQL_NTS)
SQLBindParameter(stmt2, 1, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.OrderId, 0, null)
SQLBindParameter(stmt2, 2, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.GroupOrderID, 0, null)
SQLBindParameter(stmt2, 3, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeDate, 0, null)
SQLBindParameter(stmt2, 4, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.TradeTime, 0, null)
SQLBindParameter(stmt2, 5, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Buy, 0, null)
SQLBindParameter(stmt2, 6, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClassCode, 0, null)
SQLBindParameter(stmt2, 7, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SecCode, 0, null)
SQLBindParameter(stmt2, 8, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.ClientCode, 0, null)
SQLBindParameter(stmt2, 9, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.TrdAcc, 0, null)
SQLBindParameter(stmt2, 10, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.CPFirmId, 0, null)
SQLBindParameter(stmt2, 11, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 13, 0, destination.SettleCode, 0, null)
SQLBindParameter(stmt2, 12, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 11, 0, destination.MatchRef, 0, null)
SQLBindParameter(stmt2, 13, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Price, 0, null)
SQLBindParameter(stmt2, 14, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Vozm, 0, null)
SQLBindParameter(stmt2, 15, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Qty, 0, null)
SQLBindParameter(stmt2, 16, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.OrderNum, 0, null)
SQLBindParameter(stmt2, 17, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Status, 0, null)
SQLBindParameter(stmt2, 18, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 2, 0, destination.Result, 0, null)
SQLBindParameter(stmt2, 19, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoValue, 0, null)
SQLBindParameter(stmt2, 20, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.Discount, 0, null)
SQLBindParameter(stmt2, 21, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountUpper, 0, null)
SQLBindParameter(stmt2, 22, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.DiscountLower, 0, null)
SQLBindParameter(stmt2, 23, SQL_PARAM_INPUT, SQL_C_DOUBLE, SQL_DOUBLE, 8, 0, destination.RepoRate, 0, null)
SQLBindParameter(stmt2, 24, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.RepoTerm, 0, null)
SQLBindParameter(stmt2, 25, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.Flags, 0, null)
SQLBindParameter(stmt2, 26, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWUserID, 0, null)
SQLBindParameter(stmt2, 27, SQL_PARAM_INPUT, SQL_C_CHAR, SQL_CHAR, 41, 0, destination.BWSessionID, 0, null)
SQLBindParameter(stmt2, 28, SQL_PARAM_INPUT, SQL_C_LONG, SQL_INTEGER, 4, 0, destination.BWCounter, 0, null)
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.OrderId, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.TradeTime, 4, null)
SQLGetData(stmt1, 5, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 6, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 7, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 8, SQL_C_CHAR, source.ClientCode, 13, null)
SQLGetData(stmt1, 9, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLGetData(stmt1, 10, SQL_C_CHAR, source.CPFirmId, 13, null)
SQLGetData(stmt1, 11, SQL_C_CHAR, source.SettleCode, 13, null)
SQLGetData(stmt1, 12, SQL_C_CHAR, source.MatchRef, 11, null)
SQLGetData(stmt1, 13, SQL_C_DOUBLE, source.Price, 8, indicator)
SQLGetData(stmt1, 14, SQL_C_DOUBLE, source.Vozm, 8, indicator)
SQLGetData(stmt1, 15, SQL_C_DOUBLE, source.Qty, 8, indicator)
SQLGetData(stmt1, 16, SQL_C_DOUBLE, source.OrderNum, 8, null)
SQLGetData(stmt1, 17, SQL_C_CHAR, source.Status, 2, null)
SQLGetData(stmt1, 18, SQL_C_CHAR, source.Result, 2, null)
SQLGetData(stmt1, 19, SQL_C_DOUBLE, source.RepoValue, 8, indicator)
SQLGetData(stmt1, 20, SQL_C_DOUBLE, source.Discount, 8, indicator)
SQLGetData(stmt1, 21, SQL_C_DOUBLE, source.DiscountUpper, 8, indicator)
SQLGetData(stmt1, 22, SQL_C_DOUBLE, source.DiscountLower, 8, indicator)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.RepoRate, 8, indicator)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoTerm, 4, indicator)
SQLGetData(stmt1, 25, SQL_C_DOUBLE, source.Flags, 4, indicator)
SQLGetData(stmt1, 26, SQL_C_LONG, source.BWUserID, 4, null)
SQLGetData(stmt1, 27, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLGetData(stmt1, 28, SQL_C_LONG, source.BWCounter, 4, indicator)
SQLExecute(stmt2) sends 101, 102, 20240103, 101504, "E", "ClassCode-1", "SecCode-1", "ClientCode-1", "TrdAcc-1", "CPFirmId-1", "SettleCode-1", "MatchRef-1", 13.5, 14.5, 15.5, 16.5, "Q", "R", 19.5, 20.5, 21.5, 22.5, 23.5, 0, 0, 126, "BWSessionID-1", 128
SQLFetch(stmt1)
SQLGetData(stmt1, 1, SQL_C_LONG, source.OrderId, 4, null)
SQLGetData(stmt1, 2, SQL_C_LONG, source.GroupOrderID, 4, null)
SQLGetData(stmt1, 3, SQL_C_LONG, source.TradeDate, 4, null)
SQLGetData(stmt1, 4, SQL_C_LONG, source.TradeTime, 4, null)
SQLGetData(stmt1, 5, SQL_C_CHAR, source.Buy, 2, null)
SQLGetData(stmt1, 6, SQL_C_CHAR, source.ClassCode, 13, null)
SQLGetData(stmt1, 7, SQL_C_CHAR, source.SecCode, 13, null)
SQLGetData(stmt1, 8, SQL_C_CHAR, source.ClientCode, 13, null)
SQLGetData(stmt1, 9, SQL_C_CHAR, source.TrdAcc, 13, null)
SQLGetData(stmt1, 10, SQL_C_CHAR, source.CPFirmId, 13, null)
SQLGetData(stmt1, 11, SQL_C_CHAR, source.SettleCode, 13, null)
SQLGetData(stmt1, 12, SQL_C_CHAR, source.MatchRef, 11, null)
SQLGetData(stmt1, 13, SQL_C_DOUBLE, source.Price, 8, indicator)
SQLGetData(stmt1, 14, SQL_C_DOUBLE, source.Vozm, 8, indicator)
SQLGetData(stmt1, 15, SQL_C_DOUBLE, source.Qty, 8, indicator)
SQLGetData(stmt1, 16, SQL_C_DOUBLE, source.OrderNum, 8, null)
SQLGetData(stmt1, 17, SQL_C_CHAR, source.Status, 2, null)
SQLGetData(stmt1, 18, SQL_C_CHAR, source.Result, 2, null)
SQLGetData(stmt1, 19, SQL_C_DOUBLE, source.RepoValue, 8, indicator)
SQLGetData(stmt1, 20, SQL_C_DOUBLE, source.Discount, 8, indicator)
SQLGetData(stmt1, 21, SQL_C_DOUBLE, source.DiscountUpper, 8, indicator)
SQLGetData(stmt1, 22, SQL_C_DOUBLE, source.DiscountLower, 8, indicator)
SQLGetData(stmt1, 23, SQL_C_DOUBLE, source.RepoRate, 8, indicator)
SQLGetData(stmt1, 24, SQL_C_DOUBLE, source.RepoTerm, 4, indicator)
SQLGetData(stmt1, 25, SQL_C_DOUBLE, source.Flags, 4, indicator)
SQLGetData(stmt1, 26, SQL_C_LONG, source.BWUserID, 4, null)
SQLGetData(stmt1, 27, SQL_C_CHAR, source.BWSessionID, 41, null)
SQLGetData(stmt1, 28, SQL_C_LONG, source.BWCounter, 4, indicator)
SQLExecute(stmt2) sends 201, 202, 20251203, 235904, "e", "ClassCode-ab", "SecCode-abcd", "ClientCode-a", "TrdAcc-abcde", "CPFirmId-abc", "SettleCode-a", "MatchRef-a", 1.2345e-05, -14.25, 1.23457e+06, -16.25, "q", "r", -19.25, -20.25, -21.25, -22.25, -23.25, -1717986918, 858993459, 226, "BWSessionID of row 2", 228
SQLFetch(stmt1) -> SQL_NO_DATA
SQLFreeHandle(SQL_HANDLE_STMT, stmt2)
SQLFreeHandle(SQL_HANDLE_STMT, stmt1)
)");
}

TEST_F(NegOrdersTable, LogsEachColumnOfARow) {
  SetRows({SecondRow()});
  Migrate();
  EXPECT_THAT(
      LoggedRows(),
      ElementsAre(
          R"(insert row(1): [OrderId] = 201, [GroupOrderID] = 202, [TradeDate] = 20251203, [TradeTime] = 235904, [Buy] = e, [ClassCode] = ClassCode-ab, [SecCode] = SecCode-abcd, [ClientCode] = ClientCode-a, [TrdAcc] = TrdAcc-abcde, [CPFirmId] = CPFirmId-abc, [SettleCode] = SettleCode-a, [MatchRef] = MatchRef-a, [Price] = 1.2345e-05, [Vozm] = -14.25, [Qty] = 1.23457e+06, [OrderNum] = -16.25, [Status] = q, [Result] = r, [RepoValue] = -19.25, [Discount] = -20.25, [DiscountUpper] = -21.25, [DiscountLower] = -22.25, [RepoRate] = -23.25, [RepoTerm] = -1717986918, [Flags] = 858993459, [BWUserID] = 226, [BWSessionID] = BWSessionID of row 2, [BWCounter] = 228;)"));
}

TEST_F(NegOrdersTable, ANullPriceAndANullCounterAreSentAsTheirReplacements) {
  SetRows({WithNulls(FirstRow(), {13, 28})});
  Migrate();
  EXPECT_THAT(Sent(13), ElementsAre("1e+50"));
  EXPECT_THAT(Sent(28), ElementsAre("-2147483648"));
}

TEST_F(NegOrdersTable, EveryNumberThatMayBeNullIsReplacedAndNothingElse) {
  SetRows({WithNulls(FirstRow(), {13, 14, 15, 19, 20, 21, 22, 23, 24, 25, 28})});
  Migrate();
  EXPECT_THAT(SentRows(),
              ElementsAre(R"(101, 102, 20240103, 101504, "E", "ClassCode-1", "SecCode-1", "ClientCode-1", "TrdAcc-1", )"
                          R"("CPFirmId-1", "SettleCode-1", "MatchRef-1", 1e+50, 1e+50, 1e+50, 16.5, "Q", "R", )"
                          R"(1e+50, 1e+50, 1e+50, 1e+50, 1e+50, -2147483648, -2147483648, 126, "BWSessionID-1", )"
                          R"(-2147483648)"));
}

TEST_F(NegOrdersTable, AWholeRepoTermArrivesAsZero) {
  SetRows({With(FirstRow(), 24, 7)});
  Migrate();
  EXPECT_THAT(Sent(24), ElementsAre("0"));
}

TEST_F(NegOrdersTable, NullFlagsAreSentAsTheirReplacement) {
  SetRows({With(FirstRow(), 25, kNull)});
  Migrate();
  EXPECT_THAT(Sent(25), ElementsAre("-2147483648"));
}

// 0.1 is 3FB99999 9999999A and 3.141592653589793 is 400921FB 54442D18 as a double.
TEST_F(NegOrdersTable, TheLowFourBytesOfARepoTermAndOfFlagsArrive) {
  SetRows({With(With(FirstRow(), 24, 0.1), 25, 3.141592653589793)});
  Migrate();
  EXPECT_THAT(Sent(24), ElementsAre("-1717986918"));
  EXPECT_THAT(Sent(25), ElementsAre("1413754136"));
}

TEST_F(NegOrdersTable, TheHighBytesOfARepoTermAndOfFlagsAreOverwrittenByTheFieldsBehindThem) {
  SetRows({With(With(FirstRow(), 24, 0.1), 25, kNull), With(With(FirstRow(), 24, kNull), 25, 0.1)});
  Migrate();
  EXPECT_THAT(Sent(25), ElementsAre("-2147483648", "-1717986918"));
  EXPECT_THAT(Sent(26), ElementsAre("126", "126"));
}

TEST_F(NegOrdersTable, ANullClientCodeEndsTheTableAndTheOrdersBeforeItStay) {
  SetRows({FirstRow(), FirstRow(), With(FirstRow(), 8, kNull), FirstRow()});
  Migrate();
  EXPECT_EQ(SentRows().size(), 2U);
  EXPECT_THAT(console(), testing::HasSubstr("Total rows read = 2 Total migrated rows = 2. "));
}

TEST_F(NegOrdersTable, ANullInAColumnThatMayNotBeNullEndsTheTableSilently) {
  ExpectANullEndsTheTableSilently(FirstRow(), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 16, 17, 18, 26, 27});
}

// All but BWUserID: in its place are the high bytes of the Flags of the row, 3.0 being 40080000 00000000.
TEST_F(NegOrdersTable, WhereTheDriverIgnoresANullTheValueOfTheRowBeforeGoesOn) {
  odbc_double::IgnoreNullsWithoutIndicator();
  SetRows(
      {FirstRow(), With(WithNulls(SecondRow(), {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 16, 17, 18, 26, 27}), 25, 3)});
  Migrate();
  ASSERT_EQ(SentRows().size(), 2U);
  EXPECT_EQ(SentRows()[1],
            R"(101, 102, 20240103, 101504, "E", "ClassCode-1", "SecCode-1", "ClientCode-1", "TrdAcc-1", )"
            R"("CPFirmId-1", "SettleCode-1", "MatchRef-1", 1.2345e-05, -14.25, 1.23457e+06, 16.5, "Q", "R", -19.25, )"
            R"(-20.25, -21.25, -22.25, -23.25, -1717986918, 0, 1074266112, "BWSessionID-1", 228)");
}

TEST_F(NegOrdersTable, GroupOrdersKeepTheIdOfTheSource) {
  db::GroupOrderIdMap = {{102, 802}};
  SetRows({FirstRow()});
  Migrate();
  EXPECT_THAT(Sent(2), ElementsAre("102"));
}

TEST_F(NegOrdersTable, AFetchErrorEndsTheTableWithoutGatheringDiagnostics) {
  SetRows({FirstRow(), FirstRow()});
  odbc_double::OnCall("SQLFetch", 2, {.result = SQL_ERROR, .diagnostics = {{"08S01", 1, "gone"}}});
  Migrate();
  EXPECT_EQ(SentRows().size(), 1U);
  EXPECT_EQ(CountOf("SQLGetDiagRec"), 0U);
}

}  // namespace
