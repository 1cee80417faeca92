#include "lab/tds_server/session.h"

#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <system_error>
#include <thread>

#include "support/scratch_directory.h"
#include "tds_server/hex.h"
#include "tds_server/login_bytes.h"

namespace tds {
namespace {

const Bytes kVersion71 = Hex("01 00 00 71");
const Bytes kDoneAfterAttention = Hex("FD 20 00 00 00 00 00 00 00");

/// One message of the client in one packet.
Bytes Packet(std::uint8_t type, const Bytes& payload) {
  const auto length = static_cast<std::uint16_t>(payload.size() + 8);
  return Bytes{type, 1, static_cast<std::uint8_t>(length >> 8U), static_cast<std::uint8_t>(length), 0, 0, 1, 0} +
         payload;
}

/// A session served in a thread, and the client's end of its socket.
class SessionTest : public testing::Test {
 protected:
  void SetUp() override {
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets_.data()) != 0) {
      throw std::system_error(errno, std::generic_category());
    }
    // A server that does not answer is to fail the test, not to hold it up.
    const timeval patience{.tv_sec = 60, .tv_usec = 0};
    setsockopt(sockets_[1], SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    options_.database = directory_ / "store.sqlite";
    std::istringstream lines("sa\tpw\n");
    logins_ = Logins::Read(lines);
    server_ = std::thread([this] { Serve(); });
  }

  void TearDown() override {
    shutdown(sockets_[1], SHUT_RDWR);
    server_.join();
    close(sockets_[1]);
  }

  void Serve() {
    Connection connection(sockets_[0]);
    try {
      Session(options_, logins_, connection, 51).Run();
    } catch (const std::exception& error) {
      failure_ = error.what();
    }
  }

  void Send(const Bytes& bytes) const {
    ASSERT_EQ(write(sockets_[1], bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }

  /// Exactly that many bytes; fewer when the server closes the connection.
  Bytes ReceiveBytes(std::size_t count) const {
    Bytes bytes(count);
    const ssize_t received = recv(sockets_[1], bytes.data(), count, MSG_WAITALL);
    bytes.resize(static_cast<std::size_t>(std::max<ssize_t>(received, 0)));
    return bytes;
  }

  /// The tokens of the next response, empty when the server has closed the connection.
  Bytes ReceiveResponse() const {
    Bytes tokens;
    for (bool last = false; !last;) {
      const Bytes header = ReceiveBytes(8);
      if (header.size() < 8) {
        return {};
      }
      last = (header[1] & 1U) != 0;
      tokens = tokens + ReceiveBytes((std::size_t{header[2]} << 8U | header[3]) - 8);
    }
    return tokens;
  }

  void LogIn() const {
    Send(Packet(16, LoginOfVersion(kVersion71)));
    ASSERT_FALSE(ReceiveResponse().empty());
  }

  Bytes AnswerTo(const char* sql) const {
    Send(Packet(1, Hex("'" + std::string(sql) + "'")));
    return ReceiveResponse();
  }

  /// The connection still answers a query as it should.
  void ExpectUsable() const {
    EXPECT_EQ(AnswerTo("SELECT 7 AS n"), Hex("81 01 00  00 00 09 00 26 04 01 'n'"
                                             "D1 04 07 00 00 00"
                                             "FD 10 00 C1 00 01 00 00 00"));
  }

  support::ScratchDirectory directory_;
  Options options_;
  Logins logins_;
  std::array<int, 2> sockets_{};
  std::string failure_;
  std::thread server_;
};

bool Contains(const Bytes& bytes, const Bytes& part) {
  return std::search(bytes.begin(), bytes.end(), part.begin(), part.end()) != bytes.end();
}

bool EndsWith(const Bytes& bytes, const Bytes& end) {
  return bytes.size() >= end.size() &&
         std::equal(end.begin(), end.end(), bytes.end() - static_cast<std::ptrdiff_t>(end.size()));
}

TEST_F(SessionTest, AnswersPreLoginAndLogin) {
  Send(Packet(18, Hex("01 00 06 00 01 FF 00")));
  EXPECT_EQ(ReceiveResponse().size(), 0x23U);
  Send(Packet(16, LoginOfVersion(kVersion71)));
  const Bytes answer = ReceiveResponse();
  EXPECT_TRUE(Contains(answer, Hex("AD 32 00 01 71 00 00 01 14 'Microsoft SQL Server'")));
  EXPECT_TRUE(Contains(answer, Hex("E3 13 00 01 02 'db' 06 'master'")));
  EXPECT_TRUE(EndsWith(answer, Hex("FD 00 00 00 00 00 00 00 00")));
}

TEST_F(SessionTest, RefusesWrongPasswordAndCloses) {
  Bytes login = LoginOfVersion(kVersion71);
  login[100] ^= 0x01U;
  Send(Packet(16, login));
  const Bytes answer = ReceiveResponse();
  EXPECT_TRUE(Contains(answer, Hex("18 48 00 00 01 0E 1B 00 'Login failed for user ' 27 00 'sa' 27 00 '.'")));
  EXPECT_TRUE(EndsWith(answer, Hex("FD 02 00 00 00 00 00 00 00")));
  EXPECT_TRUE(ReceiveResponse().empty());
}

TEST_F(SessionTest, ClosesOnRequestBeforeLogin) {
  EXPECT_TRUE(AnswerTo("SELECT 1").empty());
}

TEST_F(SessionTest, ClosesOnMalformedLogin) {
  Send(Packet(16, Hex("FF FF FF FF")));
  EXPECT_TRUE(ReceiveResponse().empty());
}

TEST_F(SessionTest, MarksEveryResultButTheLastAsFollowed) {
  LogIn();
  EXPECT_EQ(
      AnswerTo("SET TEXTSIZE 10 CREATE TABLE t (a int); INSERT INTO t VALUES (1), (2); UPDATE t SET a = 3 WHERE a = 9"),
      Hex("FD 01 00 00 00 00 00 00 00"
          "FD 01 00 00 00 00 00 00 00"
          "FD 11 00 C3 00 02 00 00 00"
          "FD 10 00 C5 00 00 00 00 00"));
}

TEST_F(SessionTest, TellsOfTheDatabaseThatIsUsed) {
  LogIn();
  EXPECT_EQ(AnswerTo("USE [x]"),
            Hex("E3 09 00 01 01 'x' 02 'db'"
                "AB 52 00 45 16 00 00 02 00 20 00 'Changed database context to ' 27 00 'x' 27 00 '.'"
                "03 'LAB' 00 01 00"
                "FD 00 00 00 00 00 00 00 00"));
}

TEST_F(SessionTest, EmptyBatchHasAnEnd) {
  LogIn();
  EXPECT_EQ(AnswerTo(" "), Hex("FD 00 00 00 00 00 00 00 00"));
}

TEST_F(SessionTest, ErrorEndsTheBatch) {
  LogIn();
  const Bytes answer = AnswerTo("SELECT * FROM nope; SELECT 1");
  EXPECT_TRUE(Contains(answer, Hex("D0 00 00 00 01 10")));
  EXPECT_TRUE(EndsWith(answer, Hex("01 00  FD 02 00 00 00 00 00 00 00")));
  ExpectUsable();
}

TEST_F(SessionTest, ConditionSkipsStatementOutsideTransaction) {
  LogIn();
  const Bytes done = Hex("FD 00 00 00 00 00 00 00 00");
  const Bytes depth = Hex("81 01 00  00 00 09 00 26 04 01 'n'");
  EXPECT_EQ(AnswerTo("IF @@TRANCOUNT > 0 COMMIT"), done);
  EXPECT_EQ(AnswerTo("BEGIN TRANSACTION"), done);
  EXPECT_EQ(AnswerTo("SELECT @@TRANCOUNT AS n"), depth + Hex("D1 04 01 00 00 00  FD 10 00 C1 00 01 00 00 00"));
  EXPECT_EQ(AnswerTo("IF @@TRANCOUNT > 0 COMMIT"), done);
  EXPECT_EQ(AnswerTo("SELECT @@TRANCOUNT AS n"), depth + Hex("D1 04 00 00 00 00  FD 10 00 C1 00 01 00 00 00"));
}

TEST_F(SessionTest, RequestInTheMiddleOfAResponseEndsTheSession) {
  LogIn();
  const Bytes endless =
      Packet(1, Hex("'WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n'"));
  Send(endless);
  Send(endless);
  EXPECT_TRUE(ReceiveResponse().empty());
}

TEST_F(SessionTest, FirstValueGivesTypeOfExpression) {
  LogIn();
  EXPECT_EQ(AnswerTo("SELECT 4294967296 AS b, 0.5 AS f, upper(char(97)) AS t, NULL AS n"),
            Hex("81 04 00  00 00 09 00 26 08 01 'b'  00 00 09 00 6D 08 01 'f'"
                "00 00 09 00 A7 40 1F 09 04 D0 00 34 01 't'  00 00 09 00 26 04 01 'n'"
                "D1 08 00 00 00 00 01 00 00 00  08 00 00 00 00 00 00 E0 3F  01 00 41  00"
                "FD 10 00 C1 00 01 00 00 00"));
}

TEST_F(SessionTest, ValueThatDoesNotFitItsColumnEndsTheResult) {
  LogIn();
  AnswerTo("CREATE TABLE t (a int); INSERT INTO t VALUES (1), (char(120)), (3)");
  const Bytes answer = AnswerTo("SELECT a FROM t");
  EXPECT_TRUE(Contains(answer, Hex("D1 04 01 00 00 00  AA")));
  EXPECT_TRUE(Contains(answer, Hex("F5 00 00 00 01 10")));
  EXPECT_TRUE(EndsWith(answer, Hex("FD 02 00 00 00 00 00 00 00")));
  EXPECT_FALSE(Contains(answer, Hex("D1 04 03 00 00 00")));
}

TEST_F(SessionTest, IntegerThatIsTooLargeForItsColumnFails) {
  LogIn();
  AnswerTo("CREATE TABLE t (a int); INSERT INTO t VALUES (2147483648)");
  EXPECT_TRUE(Contains(AnswerTo("SELECT a FROM t"), Hex("B3 1F 00 00 02 10")));
}

TEST_F(SessionTest, TextInFloatColumnFails) {
  LogIn();
  AnswerTo("CREATE TABLE t (a float); INSERT INTO t VALUES (char(120))");
  EXPECT_TRUE(Contains(AnswerTo("SELECT a FROM t"), Hex("B2 1F 00 00 05 10")));
}

class PreparedStatementTest : public SessionTest {
 protected:
  void SetUp() override {
    SessionTest::SetUp();
    LogIn();
  }

  /// The answer to a call of the procedure with that number; `parameters` are its bytes.
  Bytes AnswerToCall(std::uint8_t procedure, const Bytes& parameters) const {
    Send(Packet(3, Bytes{0xFF, 0xFF, procedure, 0, 0, 0} + parameters));
    return ReceiveResponse();
  }

  static constexpr std::uint8_t kExecuteSql = 10;
  static constexpr std::uint8_t kPrepare = 11;
  static constexpr std::uint8_t kExecute = 12;
  static constexpr std::uint8_t kPrepExec = 13;
  static constexpr std::uint8_t kUnprepare = 15;

  const Bytes nullHandle_ = Hex("00 01 26 04 00");
  const Bytes handleOne_ = Hex("00 00 26 04 04 01 00 00 00");
  const Bytes noParameters_ = Hex("00 00 63 00 00 00 00 09 04 D0 00 34 FF FF FF FF");
  const Bytes select_ = Hex("00 00 63 1A 00 00 00 09 04 D0 00 34 1A 00 00 00 'SELECT 7 AS n'");
  const Bytes result_ =
      Hex("81 01 00  00 00 09 00 26 04 01 'n'"
          "D1 04 07 00 00 00"
          "FF 11 00 C1 00 01 00 00 00");
  const Bytes success_ = Hex("79 00 00 00 00");
  const Bytes returnedOne_ = Hex("AC 00 00 00 01 00 00 01 00 26 04 04 01 00 00 00");
  const Bytes end_ = Hex("FE 00 00 00 00 00 00 00 00");
};

TEST_F(PreparedStatementTest, IsExecutedByItsHandle) {
  EXPECT_EQ(AnswerToCall(kPrepare, nullHandle_ + noParameters_ + select_), success_ + returnedOne_ + end_);
  EXPECT_EQ(AnswerToCall(kExecute, handleOne_), result_ + success_ + end_);
  EXPECT_EQ(AnswerToCall(kExecute, handleOne_), result_ + success_ + end_);
}

TEST_F(PreparedStatementTest, IsPreparedAndExecutedInOneCall) {
  EXPECT_EQ(AnswerToCall(kPrepExec, nullHandle_ + noParameters_ + select_), result_ + success_ + returnedOne_ + end_);
}

TEST_F(PreparedStatementTest, IsExecutedWithoutHandle) {
  EXPECT_EQ(AnswerToCall(kExecuteSql, select_), result_ + success_ + end_);
}

TEST_F(PreparedStatementTest, IsUnknownAfterUnprepare) {
  AnswerToCall(kPrepare, nullHandle_ + noParameters_ + select_);
  EXPECT_EQ(AnswerToCall(kUnprepare, handleOne_), success_ + end_);
  EXPECT_TRUE(Contains(AnswerToCall(kExecute, handleOne_), Hex("F3 1F 00 00 02 10")));
  EXPECT_TRUE(Contains(AnswerToCall(kUnprepare, handleOne_), Hex("F3 1F 00 00 02 10")));
  ExpectUsable();
}

TEST_F(PreparedStatementTest, MustNotHaveParameters) {
  const Bytes definition = Hex("00 00 63 0E 00 00 00 09 04 D0 00 34 0E 00 00 00 '@P1 int'");
  for (const std::uint8_t procedure : {kPrepare, kPrepExec}) {
    const Bytes answer = AnswerToCall(procedure, nullHandle_ + definition + select_);
    EXPECT_TRUE(Contains(answer, Hex("50 C3 00 00 01 10")));
    EXPECT_TRUE(EndsWith(answer, Hex("FE 02 00 00 00 00 00 00 00")));
  }
  EXPECT_TRUE(Contains(AnswerToCall(kExecuteSql, select_ + definition), Hex("50 C3 00 00 01 10")));
  ExpectUsable();
}

TEST_F(PreparedStatementTest, FailsWithItsStatement) {
  const Bytes wrong = Hex("00 00 63 0A 00 00 00 09 04 D0 00 34 0A 00 00 00 'WRONG'");
  const Bytes answer = AnswerToCall(kPrepExec, nullHandle_ + noParameters_ + wrong);
  EXPECT_TRUE(Contains(answer, Hex("66 00 00 00 01 0F")));
  EXPECT_TRUE(EndsWith(
      answer, Hex("FF 03 00 00 00 00 00 00 00  79 01 00 00 00") + returnedOne_ + Hex("FE 02 00 00 00 00 00 00 00")));
}

TEST_F(SessionTest, UnknownProcedureFailsAndConnectionStaysUsable) {
  LogIn();
  Send(Packet(3, Hex("04 00 'nope' 00 00")));
  const Bytes answer = ReceiveResponse();
  EXPECT_TRUE(Contains(answer, Hex("FC 0A 00 00 3E 10")));
  EXPECT_TRUE(EndsWith(answer, Hex("79 01 00 00 00  FE 02 00 00 00 00 00 00 00")));
  ExpectUsable();
}

TEST_F(SessionTest, AttentionStopsResponseThatTheClientDoesNotRead) {
  LogIn();
  Send(Packet(1, Hex("'WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n'")));
  Send(Packet(6, {}));
  EXPECT_TRUE(EndsWith(ReceiveResponse(), kDoneAfterAttention));
  ExpectUsable();
}

TEST_F(SessionTest, AttentionStopsStatementThatGivesNoRows) {
  LogIn();
  Send(Packet(1, Hex("'WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n) SELECT i FROM n WHERE i = 0'")));
  Send(Packet(6, {}));
  EXPECT_EQ(ReceiveResponse(), kDoneAfterAttention);
  ExpectUsable();
}

class DelayedSessionTest : public SessionTest {
 protected:
  DelayedSessionTest() { options_.faults = {{.kind = Fault::Kind::Delay, .table = "T", .value = 3'600'000}}; }
};

TEST_F(DelayedSessionTest, AttentionStopsResponseBetweenRows) {
  LogIn();
  AnswerTo("CREATE TABLE t (a int); INSERT INTO t VALUES (1)");
  Send(Packet(1, Hex("'SELECT a FROM t'")));
  const Bytes columns = Hex("81 01 00  00 00 09 00 26 04 01 'a'");
  EXPECT_EQ(ReceiveBytes(8 + columns.size()), Hex("04 00 00 14 00 33 01 00") + columns);
  Send(Packet(6, {}));
  EXPECT_EQ(ReceiveResponse(), kDoneAfterAttention);
  ExpectUsable();
}

TEST_F(SessionTest, AttentionWithoutRequestIsAcknowledged) {
  LogIn();
  Send(Packet(6, {}));
  EXPECT_EQ(ReceiveResponse(), kDoneAfterAttention);
  ExpectUsable();
}

}  // namespace
}  // namespace tds
