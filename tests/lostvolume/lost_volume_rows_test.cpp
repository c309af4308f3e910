// The half-star rating of a found volume at the edges of each step.
#include "lostvolume/lost_volume_rows.h"

#include <gtest/gtest.h>

namespace nua {
namespace {

struct RatingCase {
  double validity;
  const char* image;
};

class ValidityRating : public testing::TestWithParam<RatingCase> {};

TEST_P(ValidityRating, ImageOfEachStep) { EXPECT_EQ(validityRatingImage(GetParam().validity), GetParam().image); }

INSTANTIATE_TEST_SUITE_P(Edges, ValidityRating,
                         testing::Values(RatingCase{0, "0_5"}, RatingCase{10, "0_5"}, RatingCase{10.5, "0_5"},
                                         RatingCase{11, "1_"}, RatingCase{20, "1_"}, RatingCase{21, "1_5"},
                                         RatingCase{40, "2_"}, RatingCase{41, "2_5"}, RatingCase{50, "2_5"},
                                         RatingCase{51, "3_"}, RatingCase{61, "3_5"}, RatingCase{71, "4_"},
                                         RatingCase{81, "4_5"}, RatingCase{90, "4_5"}, RatingCase{91, "5_"},
                                         RatingCase{100, "5_"}, RatingCase{-5, "0_5"}));

TEST(FoundVolumeRow, TextsOfTheTable) {
  EXPECT_EQ(foundColumnText(477), "Volume Found @ Sector: 477");
  const Dict row{{"Validity Column", DictArray{DictValue(33), DictValue("Valid"), DictValue(0), DictValue("Invalid")}}};
  EXPECT_EQ(validityColumnText(row), "33");
  EXPECT_EQ(validityColumnText(Dict{}), "");
  EXPECT_EQ(validityColumnText(Dict{{"Validity Column", DictArray{}}}), "");
}

}  // namespace
}  // namespace nua
