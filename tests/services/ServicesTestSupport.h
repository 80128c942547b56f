#pragma once
// The fixture of the SDK service tests: a fresh application, configuration, session settings and
// log record for each test, and a fresh temporary folder for the tests that write files.

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <string>

#include "platform/UIApplication.h"
#include "services/InternalZRConfiguration.h"
#include "services/ZRLogUtility.h"
#include "services/ZervaHandler.h"

namespace zerva::testing {

inline std::filesystem::path freshDir(const std::string& name) {
  namespace fs = std::filesystem;
  const fs::path dir = fs::temp_directory_path() / ("zerva-" + name + "-" + std::to_string(::getpid()));
  fs::remove_all(dir);
  fs::create_directories(dir);
  return dir;
}

class ServicesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    UIApplication::resetSharedApplication();
    InternalZRConfiguration::resetSharedConfiguration();
    ZervaHandler::shared()->setSessionSettings(nullptr);
    ZRLogUtility::reset();
  }
};

}  // namespace zerva::testing
