// The camera RAW builders. Each lays the file out as the camera does (header, IFDs, preview JPEG,
// raw data) and states the size its check must give.
#include "camera_raw_builders.h"

namespace nua::testing_support {

namespace {

constexpr std::size_t kRawBytes = 200000;

// IFD 0 with Make and Model first, its values in the reserved room.
struct Layout {
  TiffBuilder tiff;
  std::uint32_t ifd0 = 0;
};

Layout startTiff(bool bigEndian, std::size_t ifd0Entries, std::string magic = {}, std::size_t headerBytes = 8) {
  Layout layout{TiffBuilder(bigEndian, std::move(magic)), 0};
  layout.tiff.bytes().resize(headerBytes);
  layout.ifd0 = layout.tiff.reserveIfd(ifd0Entries);
  layout.tiff.setFirstIfd(layout.ifd0);
  return layout;
}

BuiltRaw finish(TiffBuilder& tiff, std::string ext, std::string type, std::string key, std::uint64_t size,
                std::uint64_t jpegOffset = 0, std::uint64_t jpegSize = 0) {
  return BuiltRaw{tiff.bytes(), std::move(ext), std::move(type), std::move(key), size, jpegOffset, jpegSize};
}

}  // namespace

BuiltRaw buildNef() {
  auto [tiff, ifd0] = startTiff(true, 6);
  const std::uint32_t previewIfd = tiff.reserveIfd(4);
  const std::uint32_t rawIfd = tiff.reserveIfd(4);
  const Bytes jpeg = smallJpeg(3000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "NIKON CORPORATION"), ascii(272, "NIKON D300"), longs(254, {1}),
                       longs(330, {previewIfd, rawIfd})});
  tiff.writeIfd(previewIfd, {longs(254, {1}), longs(513, {jpegAt}), longs(514, {static_cast<std::uint32_t>(jpeg.size())})});
  tiff.writeIfd(rawIfd, {longs(254, {0}), longs(273, {rawAt}), longs(279, {kRawBytes}), shorts(259, {1})});
  return finish(tiff, "nef", "NEF", "nef", rawAt + kRawBytes + 512, jpegAt, jpeg.size());
}

BuiltRaw buildCr2() {
  auto [tiff, ifd0] = startTiff(false, 6, {}, 16);
  // CR2 marks itself after the TIFF header: "CR", version 2.0, then the raw IFD's offset.
  putText(tiff.bytes(), 8, "CR");
  tiff.bytes()[10] = std::byte{2};
  const std::uint32_t ifd1 = tiff.reserveIfd(3);
  const std::uint32_t ifd2 = tiff.reserveIfd(3);
  const std::uint32_t ifd3 = tiff.reserveIfd(3);
  tiff.put32(12, ifd3);
  const Bytes jpeg = smallJpeg(5000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const Bytes thumb = smallJpeg(800);
  const std::uint32_t thumbAt = tiff.appendBlob(thumb);
  const std::uint32_t rgbAt = tiff.appendBlob(rawImageData(3000, 2));
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "Canon"), ascii(272, "Canon EOS 40D"), longs(273, {jpegAt}),
                       longs(279, {static_cast<std::uint32_t>(jpeg.size())}), shorts(259, {6})}, ifd1);
  tiff.writeIfd(ifd1, {longs(513, {thumbAt}), longs(514, {static_cast<std::uint32_t>(thumb.size())})}, ifd2);
  tiff.writeIfd(ifd2, {longs(273, {rgbAt}), longs(279, {3000})}, ifd3);
  tiff.writeIfd(ifd3, {shorts(259, {6}), longs(273, {rawAt}), longs(279, {kRawBytes})}, 0);
  return finish(tiff, "cr2", "CR2", "cr2", rawAt + kRawBytes, jpegAt, jpeg.size());
}

BuiltRaw buildArwA700() {
  auto [tiff, ifd0] = startTiff(false, 6);
  const std::uint32_t subIfd = tiff.reserveIfd(3);
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "SONY"), ascii(272, "DSLR-A700"), longs(330, {subIfd}), longs(513, {jpegAt}),
                       longs(514, {static_cast<std::uint32_t>(jpeg.size())})});
  tiff.writeIfd(subIfd, {shorts(259, {32767}), longs(273, {rawAt}), longs(279, {kRawBytes})});
  return finish(tiff, "arw", "ARW", "arw", rawAt + kRawBytes, jpegAt, jpeg.size());
}

BuiltRaw buildArwA100() {
  // The A100 keeps its raw data behind the SubIFD; the private data (tag 50740) holds, at +148, the
  // raw data's length counted from the SubIFD's offset.
  auto [tiff, ifd0] = startTiff(false, 7);
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t privateAt = tiff.appendBlob(Bytes(200));
  const std::uint32_t subIfd = tiff.reserveIfd(3);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  const std::uint32_t rawEndFromSubIfd = rawAt + kRawBytes - subIfd;
  tiff.put32(privateAt + 148, rawEndFromSubIfd);
  tiff.writeIfd(ifd0, {ascii(271, "SONY"), ascii(272, "DSLR-A100"), longs(330, {subIfd}), longs(513, {jpegAt}),
                       longs(514, {static_cast<std::uint32_t>(jpeg.size())}), longs(50740, {privateAt})});
  tiff.writeIfd(subIfd, {longs(273, {rawAt}), longs(279, {kRawBytes}), shorts(259, {32767})});
  return finish(tiff, "arw", "ARW", "arw", rawAt + kRawBytes, jpegAt, jpeg.size());
}

BuiltRaw buildSr2() {
  auto [tiff, ifd0] = startTiff(false, 4);
  const std::uint32_t subIfd = tiff.reserveIfd(4);
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "SONY"), ascii(272, "DSC-R1"), longs(330, {subIfd})});
  tiff.writeIfd(subIfd, {longs(273, {rawAt}), longs(279, {kRawBytes}), longs(513, {jpegAt}),
                         longs(514, {static_cast<std::uint32_t>(jpeg.size())})});
  return finish(tiff, "sr2", "SR2", "sr2", rawAt + kRawBytes + 512, jpegAt, jpeg.size());
}

namespace {
BuiltRaw buildKodakTiff(const std::string& model, const std::string& ext, const std::string& type,
                        const std::string& key, std::uint64_t margin) {
  auto [tiff, ifd0] = startTiff(false, 6);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {longs(254, {0}), ascii(271, "Eastman Kodak Company"), ascii(272, model), longs(273, {rawAt}),
                       longs(279, {kRawBytes})});
  return finish(tiff, ext, type, key, rawAt + kRawBytes + margin);
}
}  // namespace

BuiltRaw buildKdc() { return buildKodakTiff("Kodak Digital Science DC50", "kdc", "KDC", "kdc", 512); }
BuiltRaw buildK25() { return buildKodakTiff("KODAK DC25", "k25", "K25", "k25", 0); }

BuiltRaw buildDcr() {
  auto [tiff, ifd0] = startTiff(false, 6);
  const std::uint32_t subIfd = tiff.reserveIfd(3);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "Kodak"), ascii(272, "DCS Pro SLR/n"), longs(330, {subIfd}),
                       undefinedBytes(65001, std::string(100, 'k'))});
  tiff.writeIfd(subIfd, {longs(273, {rawAt}), longs(279, {kRawBytes}), shorts(259, {65000})});
  return finish(tiff, "dcr", "DCR", "dcr", rawAt + kRawBytes + 100 * 4 + 512);
}

BuiltRaw buildPef() {
  auto [tiff, ifd0] = startTiff(false, 6);
  const std::uint32_t exifIfd = tiff.reserveIfd(2);
  const std::uint32_t ifd1 = tiff.reserveIfd(3);
  const Bytes jpeg = smallJpeg(6000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "PENTAX Corporation"), ascii(272, "PENTAX K10D"), longs(273, {rawAt}),
                       longs(279, {kRawBytes}), longs(34665, {exifIfd})}, ifd1);
  tiff.writeIfd(exifIfd, {undefinedBytes(37500, std::string("AOC\0MM\0\0", 8)), shorts(41990, {0})});
  tiff.writeIfd(ifd1, {longs(513, {jpegAt}), longs(514, {static_cast<std::uint32_t>(jpeg.size())})});
  return finish(tiff, "pef", "PEF", "pef", rawAt + kRawBytes + jpeg.size() + 512, jpegAt, jpeg.size());
}

BuiltRaw buildDng(const std::string& make) {
  auto [tiff, ifd0] = startTiff(false, 8);
  const std::uint32_t previewIfd = tiff.reserveIfd(4);
  const std::uint32_t rawIfd = tiff.reserveIfd(4);
  const Bytes jpeg = smallJpeg(5000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  const std::string xmp(40, 'x');
  tiff.writeIfd(ifd0, {longs(254, {1}), ascii(271, make), ascii(272, make + " Camera"), longs(330, {previewIfd, rawIfd}),
                       undefinedBytes(700, xmp), undefinedBytes(0xC612, std::string("\1\4\0\0", 4))});
  tiff.writeIfd(previewIfd, {longs(254, {1}), shorts(259, {7}), longs(273, {jpegAt}),
                             longs(279, {static_cast<std::uint32_t>(jpeg.size())})});
  tiff.writeIfd(rawIfd, {longs(254, {0}), shorts(259, {1}), longs(273, {rawAt}), longs(279, {kRawBytes})});
  return finish(tiff, "dng", "DNG", "dng", rawAt + kRawBytes + xmp.size() * 4 + jpeg.size() + 512, jpegAt,
                jpeg.size());
}

BuiltRaw buildOrf(const std::string& magic) {
  const bool bigEndian = magic == "OR";
  auto [tiff, ifd0] = startTiff(bigEndian, 6, magic);
  const std::uint32_t exifIfd = tiff.reserveIfd(2);
  // The maker note: "OLYMPUS\0", byte order, version, then an IFD whose offsets count from the note.
  const std::uint32_t note = tiff.reserveIfd(0, 12 + 2 + 12 + 4 + 2 + 24 + 4 + 64);
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "OLYMPUS IMAGING CORP."), ascii(272, "E-3"), longs(273, {rawAt}),
                       longs(279, {kRawBytes}), longs(34665, {exifIfd})});
  tiff.writeIfd(exifIfd, {rawEntry(37500, 7, 12 + 2 + 12 + 4 + 2 + 24 + 4, note), shorts(41990, {0})});
  Bytes& b = tiff.bytes();
  putText(b, note, std::string("OLYMPUS\0", 8));
  putText(b, note + 8, bigEndian ? "MM" : "II");
  tiff.put16(note + 10, 3);
  // Maker IFD at note + 12: one entry, 0x2020 pointing at the camera-settings IFD (relative).
  const std::uint32_t settingsRel = 12 + 2 + 12 + 4;
  tiff.put16(note + 12, 1);
  tiff.put16(note + 14, 0x2020);
  tiff.put16(note + 16, 13);
  tiff.put32(note + 18, 1);
  tiff.put32(note + 22, settingsRel);
  tiff.put32(note + 26, 0);
  // Camera settings: 0x101 preview start (relative to the note), 0x102 its length.
  const std::uint32_t settings = note + settingsRel;
  tiff.put16(settings, 2);
  tiff.put16(settings + 2, 0x101);
  tiff.put16(settings + 4, 4);
  tiff.put32(settings + 6, 1);
  tiff.put32(settings + 10, jpegAt - note);
  tiff.put16(settings + 14, 0x102);
  tiff.put16(settings + 16, 4);
  tiff.put32(settings + 18, 1);
  tiff.put32(settings + 22, static_cast<std::uint32_t>(jpeg.size()));
  tiff.put32(settings + 26, 0);
  const std::uint64_t start = magic == "RS" ? 5500 : 0;
  return finish(tiff, "orf", "ORF", "orf", start + rawAt + kRawBytes + 512, jpegAt, jpeg.size());
}

BuiltRaw buildPanasonicRaw(const std::string& make) {
  const std::string magic("U\0", 2);
  auto [tiff, ifd0] = startTiff(false, 6, magic);
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {rawEntry(46, 7, static_cast<std::uint32_t>(jpeg.size()), jpegAt), ascii(271, make),
                       ascii(272, make == "LEICA" ? "D-LUX 4" : "DMC-G1"), longs(273, {rawAt}), longs(279, {kRawBytes})});
  const bool leica = make == "LEICA";
  return finish(tiff, leica ? "rwl" : "rw2", /* exiftool names both Panasonic forms so without their private tags */ "RAW", leica ? "lei" : "raw", rawAt + kRawBytes + 512,
                jpegAt, jpeg.size());
}

BuiltRaw buildThreefr() {
  auto [tiff, ifd0] = startTiff(false, 4);
  const std::uint32_t subIfd = tiff.reserveIfd(3);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  tiff.writeIfd(ifd0, {ascii(271, "Hasselblad"), ascii(272, "Hasselblad H3D"), longs(330, {subIfd})});
  tiff.writeIfd(subIfd, {longs(273, {rawAt}), longs(279, {kRawBytes}), shorts(259, {1})});
  return finish(tiff, "3fr", "3FR", "3fr", rawAt + kRawBytes);
}

BuiltRaw buildRaf() {
  Bytes file(256);
  putText(file, 0, "FUJIFILMCCD-RAW 0201FF383501");
  putText(file, 28, "FinePix S5Pro");
  const Bytes jpeg = smallJpeg(4000);
  const std::uint32_t jpegAt = 256;
  file.insert(file.end(), jpeg.begin(), jpeg.end());
  const auto cfaHeaderAt = static_cast<std::uint32_t>(file.size());
  file.resize(file.size() + 64);
  const auto rawAt = static_cast<std::uint32_t>(file.size());
  const Bytes raw = rawImageData(kRawBytes);
  file.insert(file.end(), raw.begin(), raw.end());
  putBe32(file, 84, jpegAt);
  putBe32(file, 88, static_cast<std::uint32_t>(jpeg.size()));
  putBe32(file, 92, cfaHeaderAt);
  putBe32(file, 96, 64);
  putBe32(file, 100, rawAt);
  putBe32(file, 104, kRawBytes);
  return {file, "raf", "RAF", "raf", rawAt + kRawBytes + 512, jpegAt, jpeg.size()};
}

BuiltRaw buildMrw() {
  // "\0MRM" and the header length, then blocks: PRD (picture dimensions), TTW, WBG.
  Bytes file(8);
  putBe32(file, 0, 0x004D524D);
  const auto block = [&](std::string_view name, std::size_t length) {
    const std::size_t at = file.size();
    file.resize(at + 8 + length);
    file[at] = std::byte{0};
    putText(file, at + 1, name);
    putBe32(file, at + 4, static_cast<std::uint32_t>(length));
    return at;
  };
  const std::size_t prd = block("PRD", 24);
  putBe16(file, prd + 16, 200);  // sensor height
  putBe16(file, prd + 18, 300);  // sensor width
  putBe16(file, prd + 20, 200);
  putBe16(file, prd + 22, 300);
  file[prd + 24] = std::byte{12};
  file[prd + 25] = std::byte{12};
  file[prd + 26] = std::byte{0x52};  // packed 12-bit
  block("WBG", 12);
  block("PAD", 20);
  const auto headerLength = static_cast<std::uint32_t>(file.size() - 8);
  putBe32(file, 4, headerLength);
  const Bytes raw = rawImageData(300 * 200 * 3 / 2);
  file.insert(file.end(), raw.begin(), raw.end());
  return {file, "mrw", "MRW", "mrw", headerLength + 300 * 200 * 3 / 2 + 8 + 512, 0, 0};
}

BuiltRaw buildX3f() {
  Bytes file(40);
  putText(file, 0, "FOVb");
  putLe32(file, 4, 0x00020002);
  // A preview section: "SECi" and its 28-byte header, then a JPEG.
  const auto seci = static_cast<std::uint32_t>(file.size());
  file.resize(file.size() + 28);
  putText(file, seci, "SECi");
  const Bytes jpeg = smallJpeg(4000);
  file.insert(file.end(), jpeg.begin(), jpeg.end());
  const auto rawAt = static_cast<std::uint32_t>(file.size());
  const Bytes raw = rawImageData(kRawBytes);
  file.insert(file.end(), raw.begin(), raw.end());
  // The directory: "SECd", version, count, then entries of offset, length, type.
  const std::size_t dir = file.size();
  file.resize(dir + 12 + 2 * 12);
  putText(file, dir, "SECd");
  putLe32(file, dir + 4, 0x00020000);
  putLe32(file, dir + 8, 2);
  putLe32(file, dir + 12, seci);
  putLe32(file, dir + 16, static_cast<std::uint32_t>(28 + jpeg.size()));
  putText(file, dir + 20, "IMAG");
  putLe32(file, dir + 24, rawAt);
  putLe32(file, dir + 28, kRawBytes);
  putText(file, dir + 32, "IMA2");
  const auto dirPointerAt = file.size();
  file.resize(file.size() + 4);
  putLe32(file, dirPointerAt, static_cast<std::uint32_t>(dir));
  return {file, "x3f", "X3F", "x3f", file.size(), seci + 28, jpeg.size()};
}

BuiltRaw buildCrw() {
  // Header: byte order, header length 26, "HEAPCCDR", version; then the heap: preview JPEG, raw data,
  // and the root directory with three entries and the pointer to it.
  Bytes file(26);
  putText(file, 0, "II");
  putLe32(file, 2, 26);
  putText(file, 6, "HEAPCCDR");
  putLe32(file, 14, 0x00010002);
  const Bytes jpeg = smallJpeg(4000);
  const auto jpegAt = static_cast<std::uint32_t>(file.size());
  file.insert(file.end(), jpeg.begin(), jpeg.end());
  const auto rawAt = static_cast<std::uint32_t>(file.size());
  const Bytes raw = rawImageData(1300000);
  file.insert(file.end(), raw.begin(), raw.end());
  const auto directory = static_cast<std::uint32_t>(file.size());
  file.resize(file.size() + 2 + 3 * 10 + 4);
  putLe16(file, directory, 3);
  putLe16(file, directory + 2, 0x2007);
  putLe32(file, directory + 4, static_cast<std::uint32_t>(jpeg.size()));
  putLe32(file, directory + 8, jpegAt - 26);
  putLe16(file, directory + 12, 0x2005);
  putLe32(file, directory + 14, 1300000);
  putLe32(file, directory + 18, rawAt - 26);
  putLe16(file, directory + 22, 0x300A);
  putLe32(file, directory + 24, 0);
  putLe32(file, directory + 28, 0);
  putLe32(file, directory + 32, directory - 26);
  return {file, "crw", "CRW", "crw", file.size(), jpegAt, jpeg.size()};
}

BuiltRaw buildCanonRawTiff() {
  // The TIFF raw of early Canon bodies: a plain TIFF with Canon's Make, its raw strip, and a preview
  // JPEG named by the JPEG tags. It is measured by the TIFF sum: tables, long values and strips.
  auto [tiff, ifd0] = startTiff(true, 6);
  const Bytes jpeg = smallJpeg(3000);
  const std::uint32_t jpegAt = tiff.appendBlob(jpeg);
  const std::uint32_t rawAt = tiff.appendBlob(rawImageData(kRawBytes));
  const std::string make = "Canon";
  const std::string model = "Canon EOS-1D";
  tiff.writeIfd(ifd0, {ascii(271, make), ascii(272, model), longs(273, {rawAt}), longs(279, {kRawBytes}),
                       longs(513, {jpegAt}), longs(514, {static_cast<std::uint32_t>(jpeg.size())})});
  const std::uint64_t sum = 6 * 12 + 6 + (make.size() + 1) + (model.size() + 1) + kRawBytes;
  return finish(tiff, "tif", "TIFF", "tiff", sum + 512, jpegAt, jpeg.size());
}

}  // namespace nua::testing_support
