#pragma once
// Thread checks on entry, in debug builds: the main thread, or the frame queue "makeVideoFrame".
// A failed check names the function and aborts (platform/ThreadCheck.h).

#include "platform/DispatchQueue.h"
#include "platform/NSThread.h"

#ifdef NDEBUG
#define ZR_ASSERT_MAIN_THREAD() ((void)0)
#define ZR_ASSERT_FRAME_QUEUE() ((void)0)
#else
#define ZR_ASSERT_MAIN_THREAD() ::zerva::NSThread::assertMainThread(__func__)
#define ZR_ASSERT_FRAME_QUEUE() ::zerva::ZRViewVideoHandler::GetMakeVideoFrameQueue()->assertCurrent(__func__)
#endif
