#pragma once
// The load that every format runs on its authoring pool, and the statistics text of the scene
// it builds. A format differs only in its pool and its name; the stages, their timers and their
// messages are the same for all.

#include <cstdint>

#include "format/AuthoringPool.h"
#include "format/ImportDescriptor.h"

namespace Velmora::FormatGlue {

// Reads the descriptor's file or bytes into `freshPool` (owned from here on, may be null when
// its allocation failed) and builds a scene from it. With a profile asked for, the stages run
// under the root timer "CreateSceneGraphFrom<format>File" and the statistics are logged. The
// scene's handle, or 0.
uint32_t LoadSceneThroughPool(const ImportDescriptor& descriptor, AuthoringPool* freshPool, const char* formatName);

// Logs "<format>-Scene statistics:" with the counts of the built scene. Helper geometry of the
// renderer (mesh names beginning "___") and its default texture and material are left out.
void LogSceneStatistics(uint32_t scene, const char* formatName);

}  // namespace Velmora::FormatGlue
