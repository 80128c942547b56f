#pragma once
// Thread checks on entry, in debug builds: the main thread, or the frame queue "makeVideoFrame".

#include <cassert>

#include "platform/NSThread.h"

#define ZR_ASSERT_MAIN_THREAD() assert(::zerva::NSThread::isMainThread() && "must run on the main thread")
#define ZR_ASSERT_FRAME_QUEUE() \
  assert(::zerva::ZRViewVideoHandler::GetMakeVideoFrameQueue()->isCurrent() && "must run on makeVideoFrame")
