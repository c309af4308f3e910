// What a signature search is handed to keep a crashed run resumable: where the position reached and
// each new record go, and the MP3 and MPEG done lists a resumed search starts with.
#pragma once

#include <cstdint>
#include <vector>

#include "signature/carved_entry_registrar.h"
#include "signature/signature_scan_engine.h"

namespace nua {

// Either sink may be left out; nothing is then written anywhere.
struct SignatureSearchRecovery {
  ResumePositionSink* positions = nullptr;
  CarvedRecordWriter* records = nullptr;
  // The streams already walked when the search was interrupted; empty for a fresh search.
  std::vector<std::uint64_t> mp3DoneArray;
  std::vector<std::uint64_t> mpgDoneArray;
};

}  // namespace nua
