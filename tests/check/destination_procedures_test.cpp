#include "check/before/destination_procedures.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "check/rules/catalogue.h"

namespace {

using check::Cost;
using check::Finding;
using check::Procedure;
using check::ProcedureParameter;
using testing::HasSubstr;

ProcedureParameter Parameter(char mode, const std::string& name, const std::string& type, char category) {
  return {.mode = mode, .name = name, .type = {.name = type, .category = category, .modifier = -1}};
}

/// A procedure that creates groups of securities as it should.
Procedure CreateGroup() {
  Procedure procedure{.id = "1",
                      .signature = "create_group(...)",
                      .name = "BW_CreateSecGroupEx",
                      .kind = 'p',
                      .mayExecute = true,
                      .runsAs = "bw_migrator",
                      .defaults = 0,
                      .parameters = {}};
  for (const std::string name : {"group_code", "group_name", "is_disabled", "filter", "mode"}) {
    procedure.parameters.push_back(Parameter('i', name, "varchar", 'S'));
  }
  procedure.parameters.push_back(Parameter('i', "r_agencies", "int4", 'N'));
  procedure.parameters.push_back(Parameter('i', "list_level", "int4", 'N'));
  procedure.parameters.push_back(Parameter('o', "new_id", "int4", 'N'));
  return procedure;
}

std::optional<Finding> Judge(const Procedure& procedure) {
  return check::JudgeParameters(check::TableNamed("SecGroups"), procedure);
}

TEST(DestinationProceduresTest, StatementNamesItsProcedure) {
  EXPECT_EQ(check::CalledProcedure(check::TableNamed("SecGroups")), "BW_CreateSecGroupEx");
  EXPECT_EQ(check::CalledProcedure(check::TableNamed("Clients")), std::nullopt);
}

TEST(DestinationProceduresTest, GoodParametersAreNotMentioned) {
  EXPECT_EQ(Judge(CreateGroup()), std::nullopt);
}

TEST(DestinationProceduresTest, NamesOfOtherColumnsTellAnotherOrder) {
  Procedure procedure = CreateGroup();
  std::swap(procedure.parameters[3], procedure.parameters[4]);

  const std::optional<Finding> finding = Judge(procedure);

  ASSERT_TRUE(finding);
  EXPECT_EQ(finding->kind->id, "procedure-order");
  EXPECT_EQ(finding->cost, Cost::ValueChanged);
  EXPECT_EQ(finding->text, "create_group(...): Parameter 4 (mode) gets Filter. Parameter 5 (filter) gets mode.");
}

TEST(DestinationProceduresTest, AnotherOrderIsSaidOnceWhateverTheTypes) {
  Procedure procedure = CreateGroup();
  std::swap(procedure.parameters[4], procedure.parameters[5]);

  EXPECT_EQ(Judge(procedure)->kind->id, "procedure-order");
}

TEST(DestinationProceduresTest, TheDearestComplaintCounts) {
  Procedure procedure = CreateGroup();
  procedure.parameters[6] = Parameter('b', "list_level", "float4", 'N');

  const std::optional<Finding> finding = Judge(procedure);

  ASSERT_TRUE(finding);
  EXPECT_EQ(finding->kind->id, "procedure-parameters");
  EXPECT_EQ(finding->cost, Cost::WrongRow);
  EXPECT_THAT(finding->text, HasSubstr("Parameter 7 (list_level) returns a value where none is expected"));
  EXPECT_THAT(finding->text, HasSubstr("Parameter 7 (list_level) gets ListLevel. Numbers beyond 16777216"));
}

TEST(DestinationProceduresTest, OutputThatIsNoneEndsTheRun) {
  Procedure procedure = CreateGroup();
  procedure.parameters[7].mode = 'i';

  EXPECT_EQ(Judge(procedure)->cost, Cost::RunEnds);
}

TEST(DestinationProceduresTest, NumberThatIsReturnedAsTextCannotBeForeseen) {
  Procedure procedure = CreateGroup();
  procedure.parameters[7] = Parameter('o', "new_id", "text", 'S');

  EXPECT_EQ(Judge(procedure)->cost, Cost::CannotForesee);
}

TEST(DestinationProceduresTest, AnyNumberOfParametersCannotBeForeseen) {
  Procedure procedure = CreateGroup();
  procedure.parameters = {Parameter('o', "new_id", "int4", 'N'), Parameter('v', "values", "_text", 'A')};

  EXPECT_TRUE(procedure.Takes(8));
  EXPECT_EQ(Judge(procedure)->cost, Cost::CannotForesee);
}

TEST(DestinationProceduresTest, TakesWhatItHasParametersFor) {
  Procedure procedure = CreateGroup();
  EXPECT_FALSE(procedure.Takes(7));
  EXPECT_TRUE(procedure.Takes(8));
  EXPECT_FALSE(procedure.Takes(9));

  procedure.defaults = 1;
  EXPECT_TRUE(procedure.Takes(7));
  EXPECT_FALSE(procedure.Takes(6));
}

}  // namespace
