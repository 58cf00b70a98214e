#include <TyApi/TyApi.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Exception, CarriesItsPartsAndReadsWellInALog) {
  const Ty::Exception plain(632, "Filter/Filter", -997, "Ro::Vision::ThresholdHeight", nullptr);
  // The log line carries every part; a missing message reads as the status's name.
  EXPECT_EQ(plain.Message(), "");
  EXPECT_STREQ(plain.what(),
               "Ro::Vision::ThresholdHeight: invalid argument (status -997) at Filter/Filter:632");
  const Ty::Exception formatted(10, "Common/MaskSurface", 0, "Ro::Vision::X", "%s %d", "needs", 3);
  EXPECT_EQ(formatted.Message(), "needs 3");
  EXPECT_STREQ(formatted.what(), "Ro::Vision::X: needs 3 (status 0) at Common/MaskSurface:10");
  const Ty::Exception platform(zERROR_MEMORY, nullptr);
  EXPECT_STREQ(platform.what(), "out of memory (status -1001)");
}

TEST(Logging, TheHostsSinkReceivesFormattedRecords) {
  std::vector<Ty::Logging::DebugRecord> records;
  auto previous =
      Ty::Logging::SetDebugSink([&](const Ty::Logging::DebugRecord& r) { records.push_back(r); });
  Ty::Logging::Ty_Debug_Log(12, "Common/MaskSurface", 0x8000000000000000ull, "Ro::Vision::F",
                            "Not support \"%s\" mask", "Surface");
  Ty::Logging::SetDebugSink(previous);
  Ty::Logging::Ty_Debug_Log(13, "x", 0, "y", "dropped");
  ASSERT_EQ(records.size(), 1u);
  EXPECT_EQ(records[0].message, "Not support \"Surface\" mask");
  EXPECT_EQ(records[0].options, 0x8000000000000000ull);
  EXPECT_EQ(records[0].line, 12);
}

}  // namespace
