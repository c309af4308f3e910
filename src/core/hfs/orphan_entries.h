// The orphan pass of the catalog walk: every entry that waited in btreeOrph for its parent is hung
// under that parent now, or, for a file with no parent anywhere, under "Lost Files".
#pragma once

#include "volume/volume.h"

namespace nua {

// Walks btreeOrph node by node (a node's keys before its branches) and places each entry not yet
// placed, reporting to `progress`. `incrementData` raises the Volume's counters for each placed entry. An abort doesn't stop
// the pass: it reads no disk, and the entries found before the abort keep their place.
void processOrphanEntriesWithIncrement(Volume& volume, ProgressSink& progress, bool incrementData, bool showVolNameOnly);

// The first run over btreeOrphAdvScanEntries, for entries found outside the catalog file: each is hung
// under a parent waiting in that same table, if that parent is a folder. btree isn't asked.
void processOrphanAdvScanEntriesWithIncrement(Volume& volume, ProgressSink& progress, bool incrementData, bool showVolNameOnly);
// The second run: every entry still without a parent gets a place. A file goes to "Lost Files" (unless
// it is nameless, empty or lies past the volume); a folder goes into a new "LostFolder<parent id>" under
// "Lost Folders".
void processOrphanAdvScanEntriesRun2WithIncrement(Volume& volume, ProgressSink& progress, bool incrementData, bool showVolNameOnly);

// "Lost Files" (id 7) under the root: the entry with id 7 if the volume has one, marked deleted, else a
// new folder. Null when the tree has no root.
Entry* findOrMakeLostFiles(Volume& volume);

}  // namespace nua
