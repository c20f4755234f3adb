// What the tests of the support library share.
#pragma once

#include "support/cOxLogger.h"
#include "testing/environment.h" // IWYU pragma: export

using Lines = std::vector<std::string>;

// Keeps every message as "code:text", and all raw text.
struct ReceivedMessages : ox3::cOxLoggerCallBack {
  void message(unsigned long code, const std::string& text) override {
    if (throws)
      throw code;
    all.push_back(std::to_string(code) + ":" + text);
  }
  void rawText(const std::string& text) override { raw += text; }
  void setInterrupted(bool value) override { interrupted = value; }
  bool checkInterrupted() override { return interrupted; }
  void progress() override {}

  Lines all;
  std::string raw;
  bool interrupted = false, throws = false;
};
