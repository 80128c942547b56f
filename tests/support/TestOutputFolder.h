#pragma once
// A fresh folder per test under the temporary directory, named after the test and the process,
// removed afterwards unless ZERVA_KEEP_TEST_OUTPUT is set (to look at what a test wrote).

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace zerva::testing {

class TestOutputFolder : public ::testing::Test {
 protected:
  explicit TestOutputFolder(std::string prefix) : prefix_(std::move(prefix)) {}

  void SetUp() override {
    const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
    folder_ = std::filesystem::temp_directory_path() /
              (prefix_ + "-" + std::string(info->name()) + "-" + std::to_string(::getpid()));
    std::filesystem::remove_all(folder_);
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override {
    if (std::getenv("ZERVA_KEEP_TEST_OUTPUT")) return;
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  std::filesystem::path folder_;

 private:
  std::string prefix_;
};

}  // namespace zerva::testing
