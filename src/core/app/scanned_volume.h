// The volume a scan or an opened session filled: its source, its counts and the root of its tree,
// as the front ends show, preview and save it.
#pragma once

#include "records/entry.h"
#include "volume/volume.h"
