// Where saving may go: space, writable, type, and never the device being recovered.
#include "view/destination_check.h"

#include <gtest/gtest.h>

#include <map>

namespace nua {
namespace {

// A made-up disk 8:0 with partitions 8:1 and 8:2, and a mapping 253:0 over 8:2.
std::vector<std::uint64_t> fakeParents(std::uint64_t device) {
  static const std::map<std::uint64_t, std::vector<std::uint64_t>> kParents{
      {801, {800}}, {802, {800}}, {2530, {802}}};
  const auto found = kParents.find(device);
  return found == kParents.end() ? std::vector<std::uint64_t>{} : found->second;
}

DestinationFacts folderOn(std::uint64_t device) {
  DestinationFacts facts;
  facts.exists = true;
  facts.deviceNumber = device;
  facts.inodeNumber = 99;
  facts.freeBytes = 1000;
  facts.fileSystemKnown = true;
  facts.writable = true;
  facts.type = "0xef53";
  return facts;
}

TEST(DestinationCheckTest, ABlockDeviceSourceRefusesItselfItsPartitionsAndWhatStandsOnThem) {
  const SourceIdentity disk{true, true, 800, 0};
  EXPECT_TRUE(destinationOnSource(disk, folderOn(800), fakeParents));
  EXPECT_TRUE(destinationOnSource(disk, folderOn(801), fakeParents));
  EXPECT_TRUE(destinationOnSource(disk, folderOn(2530), fakeParents));
  EXPECT_FALSE(destinationOnSource(disk, folderOn(900), fakeParents));
  const SourceIdentity partition{true, true, 801, 0};
  EXPECT_FALSE(destinationOnSource(partition, folderOn(802), fakeParents));
  const DestinationVerdict verdict = checkDestinationFacts(folderOn(801), 10, disk, fakeParents);
  ASSERT_TRUE(verdict.refusal);
  EXPECT_EQ(verdict.refusal->title, "! Can not save");
}

TEST(DestinationCheckTest, AnImageSourceRefusesOnlyTheImageItself) {
  const SourceIdentity image{true, false, 800, 99};
  EXPECT_TRUE(destinationOnSource(image, folderOn(800), fakeParents));
  DestinationFacts beside = folderOn(800);
  beside.inodeNumber = 100;
  EXPECT_FALSE(checkDestinationFacts(beside, 10, image, fakeParents).refusal);
}

TEST(DestinationCheckTest, SpaceWritableAndTypeAreCheckedInOrder) {
  const SourceIdentity none;
  EXPECT_FALSE(checkDestinationFacts(folderOn(900), 1000, none, fakeParents).refusal);  // equal is enough
  const auto full = checkDestinationFacts(folderOn(900), 1001, none, fakeParents);
  ASSERT_TRUE(full.refusal);
  EXPECT_EQ(full.refusal->title, "! Not enough free disk space");
  DestinationFacts readOnly = folderOn(900);
  readOnly.writable = false;
  const auto refused = checkDestinationFacts(readOnly, 1, none, fakeParents);
  ASSERT_TRUE(refused.refusal);
  EXPECT_EQ(refused.refusal->text, "The volume chosen to save data to, is not writable.");
  EXPECT_EQ(checkDestinationFacts(folderOn(900), 1, none, fakeParents).canSaveSlashes, 0);
  DestinationFacts hfs = folderOn(900);
  hfs.type = "hfs";
  EXPECT_EQ(checkDestinationFacts(hfs, 1, none, fakeParents).canSaveSlashes, 1);
  DestinationFacts unknown = folderOn(900);
  unknown.fileSystemKnown = false;
  unknown.writable = false;
  EXPECT_EQ(checkDestinationFacts(unknown, 1, none, fakeParents).canSaveSlashes, 1);
}

}  // namespace
}  // namespace nua
