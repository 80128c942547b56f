// The configuration, the dashboard's verify result and occlusion rules as JSON text, on any
// text: applied, or refused with an error naming the document and a path; never a crash or a
// stack overflow. The first byte chooses the reader.
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <cstdlib>
#include <string>

#include "platform/NSLog.h"
#include "services/ZRConfigurationLoader.h"
#include "services/ZRLogUtility.h"
#include "services/ZROcclusionManager.h"

using namespace zerva;

namespace {
char gScratch[] = "/tmp/zerva-fuzz-XXXXXX";
}

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  // A configuration names files (logging.file, stateFile): they land in a scratch folder,
  // removed when the run ends.
  if (!mkdtemp(gScratch) || chdir(gScratch) != 0) std::abort();
  std::atexit([] {
    (void)ZRLogUtility::setOutputFile(std::nullopt);
    std::error_code ignored;
    std::filesystem::remove_all(gScratch, ignored);
  });
  setNSLogSink([](const std::string&) {});
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  switch (data[0] % 3) {
    case 0: {
      // Paths outside the scratch folder are not the fuzzer's to write: no slash, and no escape
      // that could spell one.
      if (text.find('/') != std::string::npos || text.find('\\') != std::string::npos) return 0;
      const NSErrorOrNil error = ZRConfigurationLoader::loadText(text, "fuzz.json");
      if (error && error->localizedDescription().rfind("fuzz.json: $", 0) != 0) __builtin_trap();
      // Each input starts from nothing: no log file growing from input to input.
      ZRLogUtility::reset();
      std::error_code ignored;
      for (const auto& entry : std::filesystem::directory_iterator(".", ignored)) std::filesystem::remove_all(entry, ignored);
      break;
    }
    case 1: {
      ZROcclusionManager manager;
      auto rules = manager.parseOcclusionfromVerifyRequest(text, std::nullopt);
      if (rules) (void)manager.parseOcclusionfromVerifyRequest(text, rules);
      break;
    }
    default: {
      ZROcclusionManager manager;
      (void)manager.rulesFromJSONText(text, "fuzz.json");
      break;
    }
  }
  return 0;
}
