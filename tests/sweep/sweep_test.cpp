// Runs the argument sweep (sweep.h).
#include "sweep/sweep.h"

#include <gtest/gtest.h>

using test::Argument;
using test::Fault;
using test::Outcome;
using test::Row;

namespace {

struct Check {
  size_t argument;
  std::vector<Fault> faults;
};

std::vector<Check> checksOf(const Row& row) {
  std::vector<Check> checks;
  for (const int place : row.order) {
    const auto argument = static_cast<size_t>(place % test::kEntries);
    const Argument& a = row.arguments.at(argument);
    checks.push_back({argument, place >= test::kContents  ? a.contentFaults
                                : place >= test::kEntries ? a.entryFaults
                                                          : a.faults});
  }
  return checks;
}

std::string testName(const testing::TestParamInfo<Row>& info) { return info.param.name + info.param.variant; }

class Sweep : public testing::TestWithParam<Row> {};

}  // namespace

TEST_P(Sweep, goodArgumentsPass) {
  const Row& row = GetParam();
  if (!row.call) return;  // the version query
  const Outcome outcome = test::callRow(row, {});
  EXPECT_GE(outcome.status, qlmOk);
}

TEST_P(Sweep, eachBadValueGivesItsStatusAndWritesNothing) {
  const Row& row = GetParam();
  for (const Check& check : checksOf(row)) {
    ASSERT_FALSE(check.faults.empty()) << "argument " << check.argument << " is in the order but has no bad value";
    for (const Fault& fault : check.faults) {
      const Outcome outcome = test::callRow(row, {{check.argument, fault}});
      EXPECT_EQ(outcome.status, fault.status) << "argument " << check.argument << ": " << fault.text;
      EXPECT_TRUE(outcome.buffersUnchanged) << "argument " << check.argument << ": " << fault.text;
    }
  }
}

TEST_P(Sweep, firstOfTwoFailingChecksDecides) {
  const Row& row = GetParam();
  const std::vector<Check> checks = checksOf(row);
  for (size_t i = 0; i < checks.size(); ++i) {
    for (size_t j = i + 1; j < checks.size(); ++j) {
      if (checks[i].argument == checks[j].argument) continue;  // a null pointer has nothing behind it
      for (const Fault& first : checks[i].faults) {
        for (const Fault& second : checks[j].faults) {
          const Outcome outcome = test::callRow(row, {{checks[i].argument, first}, {checks[j].argument, second}});
          ASSERT_EQ(outcome.status, first.status) << "argument " << checks[i].argument << ": " << first.text
                                                  << ", argument " << checks[j].argument << ": " << second.text;
          ASSERT_TRUE(outcome.buffersUnchanged);
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Exports, Sweep, testing::ValuesIn(test::sweepTable()), testName);
