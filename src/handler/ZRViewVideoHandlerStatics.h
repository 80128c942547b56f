#pragma once
// The component's file-level statics, process-wide and shared by every handler. Each is set on
// one thread before frames flow (the recording set-up and the recorder's start completion) or is
// used on the main thread only, so none takes a lock.

#include <cstdint>
#include <optional>
#include <string>

#include "platform/CGGeometry.h"
#include "platform/NSDate.h"
#include "platform/NSParagraphStyle.h"

namespace zerva {

// Schematic switches (Core): both YES draws schematic frames.
extern bool fs_PlatformCaptureSchematicView;
extern bool fs_CaptureSchematicView;

// Capture driver (main thread).
extern std::string fs_FrameCaptureType;  // "Native " or "Schematic ": the kind last attempted
extern bool fs_DidSkipLastFrameCapture;  // the frame timer retries on every tick while YES
extern std::int64_t fs_NumSlowFrames;    // consecutive slow frames outside the slow path
extern std::int64_t fs_NumQuickFrames;   // consecutive quick frames inside it
/// When the last frame went through the scroll-stutter checks (local to screenImage: in the
/// design; here so that tests can start afresh).
extern std::optional<NSDate> fs_LastCaptureTime;

// Video size: set at recording start and at the recorder's start completion.
extern CGSize fs_DeviceNativeSize;
extern bool fs_ClampVideoToAdjustedSize;
extern CGSize fs_CurrentVideoSize;
extern bool fs_ScaleVideoDown;
extern CGSize fs_DownscaledVideoSize;
extern bool fs_WindowFrameSizeAdjustedOnLastFrame;

// Schematic label style, replaced at the start of every schematic frame (main thread).
extern std::optional<NSMutableParagraphStyle> fs_OutlineLabelParagraphStyle;

/// Puts every static above (and gZERVA_LastFrameTime) back to its value at process start, for
/// tests and tools that make fresh handlers.
void ZRResetHandlerFileStatics();

}  // namespace zerva
