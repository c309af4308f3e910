// The signature search as the scan threads run it on a Volume: the marked signatures turned into the
// tables and the check list, the volume's geometry and filters, the finds registered in its tree, and
// the search's progress on the scan's screen.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "app/scan_launcher.h"
#include "app/scan_progress.h"
#include "app/signature_search_recovery.h"
#include "signature/carved_entry_registrar.h"
#include "signature/signature_scan_engine.h"
#include "volume/progress_sink.h"
#include "volume/volume.h"

namespace nua {

// The free-space map of a search: the HFS+ allocation file or the FAT, read through `source`. Null for
// the loops without a free-space filter, or when the volume's map cannot be placed (every unit then
// counts as used, so nothing is searched rather than used space).
[[nodiscard]] std::unique_ptr<FreeSpaceMap> freeSpaceMapFor(const Volume& volume, SignatureScanLoop loop,
                                                            SectorSource& source);

// The geometry the loops divide the volume by, from the fields the file system stages set.
[[nodiscard]] SignatureScanGeometry signatureScanGeometry(const Volume& volume);

// Runs one search of the volume with the marked file types from `resumeUnit` (0: the slider range's
// start), adding each find to the volume's tree under its root (made first if there is none) and
// raising the volume's counts. Returns at the range's end or on stopTreeThread; an unreadable source
// gives a search that finds nothing.
SignatureScanResult runSignatureSearch(Volume& volume, SignatureScanLoop loop, const SigSelArray& signatures,
                                       std::uint64_t resumeUnit, ProgressSink& progress,
                                       const SignatureSearchRecovery& recovery = {});

// The search as a scan entry runs it: the sink is told just before it starts, so that the crash-recovery
// pair stands, and again when its clean-up begins. The signatures are element `signaturesIndex` of the
// arguments, the resume position their tail.
SignatureScanResult runRecoverableSignatureSearch(Volume& volume, SignatureScanLoop loop,
                                                  const ScanArguments& arguments, std::size_t signaturesIndex,
                                                  ScanRunSink& progress);

// The loop of a volume search by the method of the argument array (0 plain, 1 with the file checks);
// nothing for any other method.
[[nodiscard]] std::optional<SignatureScanLoop> hfsSearchLoop(std::int64_t method);
[[nodiscard]] std::optional<SignatureScanLoop> fatSearchLoop(std::int64_t method);
[[nodiscard]] std::optional<SignatureScanLoop> diskSearchLoop(std::int64_t method);

// The begin position of a resumed search: the element before a last "auto", else 0.
[[nodiscard]] std::uint64_t signatureSearchResumePosition(const ScanArguments& arguments);
// The signatures at `index`; empty when the element is missing or of another kind.
[[nodiscard]] const SigSelArray& signatureSearchSignatures(const ScanArguments& arguments, std::size_t index);

}  // namespace nua
