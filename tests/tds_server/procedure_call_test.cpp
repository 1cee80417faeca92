#include "lab/tds_server/procedure_call.h"

#include <gmock/gmock.h>

#include "tds_server/hex.h"

namespace tds {
namespace {

using testing::ElementsAre;

constexpr std::monostate kNull;

TEST(ProcedureCall, ReadsNameAndParameters) {
  const ProcedureCall call = ParseProcedureCall(Hex("03 00 'sp_' 00 00"
                                                    "00 01 26 04 00"                                 // NULL, output
                                                    "02 '@p' 00 E7 40 1F 09 04 D0 00 34 04 00 'hi'"  // nvarchar
                                                    "00 00 26 04 04 FE FF FF FF"                     // int
                                                    "00 00 63 64 00 00 00 09 04 D0 00 34 02 00 00 00 'x'"),  // ntext
                                                ProtocolVersion::V71);
  EXPECT_EQ(call.name, "sp_");
  EXPECT_THAT(call.parameters, ElementsAre(ParameterValue(kNull), ParameterValue(std::string("hi")),
                                           ParameterValue(std::int64_t{-2}), ParameterValue(std::string("x"))));
  EXPECT_EQ(call.unreadParameter, 0U);
}

TEST(ProcedureCall, KnowsProceduresByNumber) {
  EXPECT_EQ(ParseProcedureCall(Hex("04 00 00 00  FF FF 0D 00 00 00"), ProtocolVersion::V72).name, "sp_prepexec");
  EXPECT_EQ(ParseProcedureCall(Hex("FF FF 0A 00 00 00"), ProtocolVersion::V71).name, "sp_executesql");
  EXPECT_EQ(ParseProcedureCall(Hex("FF FF 0F 00 00 00"), ProtocolVersion::V71).name, "sp_unprepare");
  EXPECT_EQ(ParseProcedureCall(Hex("FF FF 10 00 00 00"), ProtocolVersion::V71).name, "16");
  EXPECT_EQ(ParseProcedureCall(Hex("FF FF 00 00 00 00"), ProtocolVersion::V71).name, "0");
}

TEST(ProcedureCall, ReadsIntegersOfEverySize) {
  const ProcedureCall call =
      ParseProcedureCall(Hex("FF FF 0A 00 00 00"
                             "00 00 26 01 01 FF  00 00 26 02 02 FF FF  00 00 26 08 08 00 00 00 00 01 00 00 00"),
                         ProtocolVersion::V71);
  EXPECT_THAT(call.parameters, ElementsAre(ParameterValue(std::int64_t{255}), ParameterValue(std::int64_t{-1}),
                                           ParameterValue(std::int64_t{4294967296})));
}

TEST(ProcedureCall, ReadsTextInChunks) {
  const ProcedureCall call = ParseProcedureCall(
      Hex("FF FF 0A 00 00 00"
          "00 00 E7 FF FF 09 04 D0 00 34  FE FF FF FF FF FF FF FF  04 00 00 00 'ab'  02 00 00 00 'c'  00 00 00 00"
          "00 00 E7 FF FF 09 04 D0 00 34  FF FF FF FF FF FF FF FF"),
      ProtocolVersion::V71);
  EXPECT_THAT(call.parameters, ElementsAre(ParameterValue(std::string("abc")), ParameterValue(kNull)));
}

TEST(ProcedureCall, ReadsNullTexts) {
  const ProcedureCall call = ParseProcedureCall(Hex("FF FF 0A 00 00 00"
                                                    "00 00 E7 40 1F 09 04 D0 00 34 FF FF"
                                                    "00 00 63 00 00 00 00 09 04 D0 00 34 FF FF FF FF"),
                                                ProtocolVersion::V71);
  EXPECT_THAT(call.parameters, ElementsAre(ParameterValue(kNull), ParameterValue(kNull)));
}

TEST(ProcedureCall, StopsAtParameterOfOtherType) {
  const ProcedureCall call = ParseProcedureCall(Hex("FF FF 0A 00 00 00"
                                                    "00 00 26 04 00"
                                                    "00 00 6D 08 08 00 00 00 00 00 00 00 00"),
                                                ProtocolVersion::V71);
  EXPECT_EQ(call.parameters.size(), 1U);
  EXPECT_EQ(call.unreadParameter, 2U);
  EXPECT_EQ(call.unreadType, 0x6D);
}

TEST(ProcedureCall, RefusesIntegerOfImpossibleSize) {
  EXPECT_THROW(ParseProcedureCall(Hex("FF FF 0A 00 00 00  00 00 26 04 03 00 00 00"), ProtocolVersion::V71),
               ProtocolError);
}

TEST(ProcedureCall, RefusesShortMessages) {
  EXPECT_THROW(ParseProcedureCall(Hex(""), ProtocolVersion::V71), ProtocolError);
  EXPECT_THROW(ParseProcedureCall(Hex("04 00 'sp_'"), ProtocolVersion::V71), ProtocolError);
  EXPECT_THROW(ParseProcedureCall(Hex("FF FF 0A 00"), ProtocolVersion::V71), ProtocolError);
  EXPECT_THROW(ParseProcedureCall(Hex("FF FF 0A 00 00 00  05 'a'"), ProtocolVersion::V71), ProtocolError);
  EXPECT_THROW(ParseProcedureCall(Hex("FF FF 0A 00 00 00  00 00 63 00 00 00 00 09 04 D0 00 34 FE FF FF FF"),
                                  ProtocolVersion::V71),
               ProtocolError);
  EXPECT_THROW(ParseProcedureCall(Hex("FF FF 0A 00 00 00  00 00 E7 FF FF 09 04 D0 00 34 FE FF FF FF FF FF FF FF"
                                      "02 00 00 00 'a'"),
                                  ProtocolVersion::V71),
               ProtocolError);
}

}  // namespace
}  // namespace tds
