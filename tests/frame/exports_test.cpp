// Header, list, binary, sweep table and model tests name the same exports; stubs and slots lie as they must.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "qlmjp.h"
#include "sweep/sweep.h"

namespace {

namespace fs = std::filesystem;
using Names = std::set<std::string>;

const std::vector<std::string> kExports = {
#define QLM_NAME(name) #name,
#include "frame/exports.inc"
#undef QLM_NAME
};

Names listed() { return {kExports.begin(), kExports.end()}; }

// Says which names stand in only one of the two sets.
testing::AssertionResult same(const Names& found, const Names& wanted) {
  auto result = found == wanted ? testing::AssertionSuccess() : testing::AssertionFailure();
  for (const std::string& name : wanted)
    if (!found.contains(name)) result << "missing: " << name << '\n';
  for (const std::string& name : found)
    if (!wanted.contains(name)) result << "too many: " << name << '\n';
  return result;
}

Names declared() {
  Names names;
  const std::regex declaration(R"(QLM_API (?:const )?\w+\*? (\w+)\()");
  for (const auto& file : fs::recursive_directory_iterator(fs::path(QLMJP_SOURCE_DIR) / "include")) {
    if (file.path().extension() != ".h" || file.path().filename() == "qlmcore.h") continue;
    std::stringstream text;
    text << std::ifstream(file.path()).rdbuf();
    const std::string s = text.str();
    for (std::sregex_iterator i(s.begin(), s.end(), declaration), end; i != end; ++i) names.insert((*i)[1]);
  }
  return names;
}

Names exportedBy(const std::string& library) {
  const std::string command = "nm -D --defined-only --format=posix " + library;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  Names names;
  std::array<char, 512> line{};
  while (pipe && fgets(line.data(), line.size(), pipe.get()))
    names.insert(std::string(line.data(), strcspn(line.data(), " @")));
  return names;
}

const uint8_t* address(const std::string& name) {
  return static_cast<const uint8_t*>(dlsym(RTLD_DEFAULT, name.c_str()));
}

// The slot that a stub jumps through: jmp *disp32(%rip).
void** slotOf(const uint8_t* stub) {
  int32_t displacement;
  std::memcpy(&displacement, stub + 2, 4);
  return reinterpret_cast<void**>(reinterpret_cast<uintptr_t>(stub) + 6 + static_cast<uintptr_t>(displacement));
}

const QlmLibVersion kOther{};
const QlmLibVersion* otherVersion() { return &kOther; }

}  // namespace

TEST(Exports, listIsInAsciiOrderWithoutRepeats) {
  EXPECT_TRUE(std::is_sorted(kExports.begin(), kExports.end()));
  EXPECT_EQ(listed().size(), kExports.size());
  EXPECT_EQ(kExports.size(), 300u);
}

TEST(Exports, headersDeclareTheList) { EXPECT_TRUE(same(declared(), listed())); }

TEST(Exports, binaryExportsTheListAndNothingElse) {
  EXPECT_TRUE(same(exportedBy(QLMJP_LIBRARY), listed()));
  EXPECT_EQ(exportedBy(QLMCORE_LIBRARY),
            (Names{"ownGetNumThreads", "qlmFree", "qlmGetEnabledCpuFeatures", "qlmGetMaxCacheSizeB", "qlmMalloc"}));
}

TEST(Exports, sweepTableHasARowForEach) {
  Names names;
  for (const test::Row& row : test::sweepTable()) names.insert(row.name);
  EXPECT_TRUE(same(names, listed()));
}

TEST(Exports, eachHasAModelTest) {
  Names names;
  const auto* all = testing::UnitTest::GetInstance();
  for (int i = 0; i < all->total_test_suite_count(); ++i) {
    const auto* suite = all->GetTestSuite(i);
    if (std::string(suite->name()) != "Model") continue;
    for (int t = 0; t < suite->total_test_count(); ++t) names.insert(suite->GetTestInfo(t)->name());
  }
  EXPECT_TRUE(same(names, listed()));
}

TEST(Stubs, standSixteenBytesApartInTheOrderOfTheList) {
  const uint8_t* first = address(kExports.front());
  void** slot = slotOf(first);
  for (size_t i = 0; i < kExports.size(); ++i) {
    const uint8_t* stub = address(kExports[i]);
    ASSERT_EQ(stub, first + 16 * i) << kExports[i];
    ASSERT_EQ(stub[0], 0xFF) << kExports[i];  // jmp *disp32(%rip)
    ASSERT_EQ(stub[1], 0x25) << kExports[i];
    ASSERT_EQ(slotOf(stub), slot + i) << kExports[i];
  }
}

TEST(Stubs, jumpThroughWritableSlots) {
  void** slot = slotOf(address("qlmjGetLibVersion"));
  void* const implementation = *slot;
  *slot = reinterpret_cast<void*>(&otherVersion);
  EXPECT_EQ(qlmjGetLibVersion(), &kOther);
  *slot = implementation;
  EXPECT_EQ(qlmjGetLibVersion()->major, 7);
}

TEST(Stubs, noImplementationIsExported) {
  for (const std::string& name : kExports) {
    Dl_info info{};
    ASSERT_NE(dladdr(*slotOf(address(name)), &info), 0) << name;
    EXPECT_NE(*slotOf(address(name)), info.dli_saddr) << name;
  }
}
