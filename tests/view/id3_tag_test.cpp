// The ID3v2 walk on tags built the way common taggers write them: version 3 with plain frame sizes,
// version 4 with synchsafe ones, lyrics in three encodings, a cover picture, and every cut of the tag.
#include "view/id3_tag.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace nua {
namespace {

using Bytes = std::vector<std::byte>;

void append(Bytes& out, std::string_view text) {
  for (char c : text) out.push_back(static_cast<std::byte>(c));
}
void appendBe32(Bytes& out, std::uint32_t value) {
  for (int shift = 24; shift >= 0; shift -= 8) out.push_back(static_cast<std::byte>((value >> shift) & 0xFF));
}
std::uint32_t synchsafe(std::uint32_t value) {
  return (value & 0x7F) | ((value << 1) & 0x7F00) | ((value << 2) & 0x7F0000) | ((value << 3) & 0x7F000000);
}

// A tag of the given version with its frames, followed by some audio bytes.
class TagBuilder {
 public:
  explicit TagBuilder(std::uint8_t version) : version_(version) {}
  TagBuilder& frame(std::string_view id, const Bytes& body) {
    append(frames_, id);
    appendBe32(frames_, version_ == 4 ? synchsafe(static_cast<std::uint32_t>(body.size()))
                                      : static_cast<std::uint32_t>(body.size()));
    frames_.push_back(std::byte{0});
    frames_.push_back(std::byte{0});
    frames_.insert(frames_.end(), body.begin(), body.end());
    return *this;
  }
  [[nodiscard]] Bytes build() const {
    Bytes tag;
    append(tag, "ID3");
    tag.push_back(static_cast<std::byte>(version_));
    tag.push_back(std::byte{0});
    tag.push_back(std::byte{0});
    appendBe32(tag, synchsafe(static_cast<std::uint32_t>(frames_.size())));
    tag.insert(tag.end(), frames_.begin(), frames_.end());
    append(tag, "\xFF\xFB\x90\x64 audio follows");
    return tag;
  }

 private:
  std::uint8_t version_;
  Bytes frames_;
};

Bytes text(std::string_view s) {
  Bytes out;
  append(out, s);
  return out;
}

// A title long enough (200 bytes) that its synchsafe size differs from the plain one.
Bytes longTitle() { return text("\x03" + std::string(199, 'T')); }

Bytes usltLatin(std::string_view lyrics) {
  Bytes body = text(std::string("\x00", 1) + "eng" + std::string("\x00", 1));
  append(body, lyrics);
  body.push_back(std::byte{0});
  return body;
}

Bytes usltUtf16(std::u16string_view lyrics, bool bigEndian) {
  Bytes body = text(std::string("\x01", 1) + "eng");
  auto unit = [&](char16_t u) {
    const auto hi = static_cast<std::byte>(u >> 8);
    const auto lo = static_cast<std::byte>(u & 0xFF);
    body.push_back(bigEndian ? hi : lo);
    body.push_back(bigEndian ? lo : hi);
  };
  unit(0xFEFF);  // the empty descriptor with its mark and terminator
  unit(0);
  unit(0xFEFF);
  for (char16_t u : lyrics) unit(u);
  return body;
}

TEST(Mp3BitShredderTest, DropsTheTopBitOfEachByte) {
  EXPECT_EQ(mp3BitShredder(0x00000201U), 0x101U);
  EXPECT_EQ(mp3BitShredder(0x7F7F7F7FU), 0x0FFFFFFFU);
  EXPECT_EQ(mp3BitShredder(synchsafe(123456)), 123456U);
}

struct LyricsCase {
  const char* name;
  std::uint8_t version;
  Bytes uslt;
  std::string lyrics;  // the start of what is shown
  std::uint32_t length;
};

class UsltLyricsTest : public ::testing::TestWithParam<LyricsCase> {};

TEST_P(UsltLyricsTest, FindsTheFrameBehindALongTitle) {
  const LyricsCase& c = GetParam();
  const Bytes tag = TagBuilder(c.version).frame("TIT2", longTitle()).frame("USLT", c.uslt).build();
  const std::optional<Id3Lyrics> lyrics = usltLyrics(tag);
  ASSERT_TRUE(lyrics.has_value());
  EXPECT_EQ(lyrics->text.substr(0, c.lyrics.size()), c.lyrics);
  EXPECT_EQ(lyrics->length, c.length);
}

INSTANTIATE_TEST_SUITE_P(
    Encodings, UsltLyricsTest,
    ::testing::Values(LyricsCase{"Latin1Version3", 3, usltLatin("line one\nline two"), "line one\nline two", 17},
                      LyricsCase{"Latin1Version4", 4, usltLatin("la la\nla"), "la la\nla", 8},
                      LyricsCase{"Utf16LittleEndianVersion3", 3, usltUtf16(u"h\u00e9llo\nw", false), "h\u00e9llo\nw", 7},
                      LyricsCase{"Utf16BigEndianVersion4", 4, usltUtf16(u"ab\ncd", true), "ab\ncd", 5}),
    [](const ::testing::TestParamInfo<LyricsCase>& param) { return std::string(param.param.name); });

TEST(UsltLyricsTest, Utf16TextTakesTwiceTheFrameAsFarAsTheDataGo) {
  const Bytes tag = TagBuilder(3).frame("USLT", usltUtf16(u"xy", false)).build();
  const std::optional<Id3Lyrics> lyrics = usltLyrics(tag);
  ASSERT_TRUE(lyrics.has_value());
  EXPECT_GT(lyrics->text.size(), 2U);  // the bytes behind the frame came along
  EXPECT_EQ(lyrics->length, 2U);
}

TEST(UsltLyricsTest, Utf8EncodingEmptyTextAndNoFrameShowNoLyrics) {
  Bytes utf8 = usltLatin("words");
  utf8[0] = std::byte{3};
  EXPECT_FALSE(usltLyrics(TagBuilder(4).frame("USLT", utf8).build()).has_value());
  EXPECT_FALSE(usltLyrics(TagBuilder(4).frame("USLT", usltLatin("")).build()).has_value());
  EXPECT_FALSE(usltLyrics(TagBuilder(4).frame("TIT2", longTitle()).build()).has_value());
  EXPECT_FALSE(usltLyrics(text("no tag here at all")).has_value());
}

TEST(Id3FrameTest, Version4SizesAreSynchsafeAndVersion3SizesArePlain) {
  // The same frames read with the other version byte miss the second frame.
  Bytes v4 = TagBuilder(4).frame("TIT2", longTitle()).frame("USLT", usltLatin("x")).build();
  Bytes v3 = TagBuilder(3).frame("TIT2", longTitle()).frame("USLT", usltLatin("x")).build();
  EXPECT_TRUE(findId3Frame(v4, "USLT").has_value());
  EXPECT_TRUE(findId3Frame(v3, "USLT").has_value());
  v4[3] = std::byte{3};
  v3[3] = std::byte{4};
  EXPECT_FALSE(findId3Frame(v4, "USLT").has_value());
  EXPECT_FALSE(findId3Frame(v3, "USLT").has_value());
}

TEST(ApicPictureTest, GivesTheEmbeddedPictureBytes) {
  Bytes jpeg = text("\xFF\xD8\xFF\xE0\x00\x10JFIF\x00 picture data \xFF\xD9");
  Bytes body = text(std::string("\x00", 1) + "image/jpeg" + std::string("\x00\x03", 2) + "cover" + std::string("\x00", 1));
  body.insert(body.end(), jpeg.begin(), jpeg.end());
  const Bytes tag = TagBuilder(3).frame("TIT2", longTitle()).frame("APIC", body).build();
  const std::span<const std::byte> picture = apicPicture(tag);
  EXPECT_EQ(Bytes(picture.begin(), picture.end()), jpeg);
}

TEST(Id3RobustnessTest, EveryCutOfATagAndHugeSizesStayInsideTheData) {
  Bytes body = text(std::string("\x00", 1) + "image/png" + std::string("\x00\x03\x00", 3) + "PNGDATA");
  Bytes tag = TagBuilder(4).frame("USLT", usltUtf16(u"some lyrics", false)).frame("APIC", body).build();
  for (std::size_t length = 0; length <= tag.size(); ++length) {
    const std::span<const std::byte> cut(tag.data(), length);
    (void)usltLyrics(cut);
    const std::span<const std::byte> picture = apicPicture(cut);
    EXPECT_LE(picture.size(), length);
  }
  // Frame sizes of 0x7FFFFFFF in both frames.
  Bytes huge = TagBuilder(3).frame("USLT", usltUtf16(u"ab", false)).build();
  huge[14] = huge[15] = huge[16] = huge[17] = std::byte{0x7F};
  EXPECT_TRUE(usltLyrics(huge).has_value());
  Bytes hugePicture = TagBuilder(3).frame("APIC", body).build();
  hugePicture[14] = std::byte{0x7F};
  EXPECT_EQ(apicPicture(hugePicture).data() + apicPicture(hugePicture).size(), hugePicture.data() + hugePicture.size());
}

}  // namespace
}  // namespace nua
