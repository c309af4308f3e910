// The status texts a scan shows beside its own ("Creating tree from ..."), each named once.
#pragma once

namespace nua::progress_text {

// Shows the scan's own status alone.
inline constexpr const char* kScanStatus = "default";

inline constexpr const char* kCheckingExtentsFile = "Checking Extents File ...";
inline constexpr const char* kCheckingExtentsFileDone = "Checking Extents File ... done";
inline constexpr const char* kCheckingCatalogFile = "Checking Catalog File ...";
inline constexpr const char* kCheckingCatalogFileDone = "Checking Catalog File ... done";
inline constexpr const char* kSearchingCatalogFile = "Searching catalog file...";
inline constexpr const char* kSearchingCatalogFragments = "Searching catalog fragments...";
inline constexpr const char* kSearchingExtraExtents = "Searching extra extents...";
inline constexpr const char* kRearrangingExtraExtents = "Rearranging extra extents ...";
inline constexpr const char* kProcessingOrphans = "Processing orphan & lost entries...";
// The signature searches of a volume; the whole-disk searches show the scan's own status.
inline constexpr const char* kSearchingLostFiles = "Searching lost files...";

// The clean-up at the end of every scan.
inline constexpr const char* kRearrangingTree = "Rearranging tree...";
inline constexpr const char* kRemovingNonMediaTree = "Removing non-media tree...";
inline constexpr const char* kRemovingEmptyTree = "Removing empty tree...";
inline constexpr const char* kRearrangingTreeStep2 = "Rearranging tree (step 2)...";
inline constexpr const char* kRemovingDeletedTree = "Removing deleted tree...";
inline constexpr const char* kOptimizingTree = "Optimizing Tree...";
inline constexpr const char* kFixingNames = "Fixing names...";
inline constexpr const char* kRemovingHelperTrees = "Removing helper trees...";
inline constexpr const char* kRearrangingTreeDone = "Rearranging tree (done)...";

inline constexpr const char* kTreeCompleted = "Tree Completed ...";

}  // namespace nua::progress_text
