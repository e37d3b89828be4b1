#pragma once

#include <giomm.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>

#include "tests/bluez/BluezProgram.h"
#include "tests/host/support/PrivateBus.h"
#include "tests/support/LogRecorder.h"

namespace test {

/// A system bus of the test's own with a program in BlueZ's place, and the main loop, which runs
/// while the test waits.
class BluezFixture : public testing::Test {
 protected:
  BluezFixture() {
    Gio::init();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().c_str(), 1);
  }

  /// Runs the main loop until the condition holds; false when it doesn't.
  static bool runUntil(const std::function<bool()>& condition,
                       std::chrono::seconds deadline = std::chrono::seconds(60)) {
    const auto end = std::chrono::steady_clock::now() + deadline;
    const auto context = Glib::MainContext::get_default();
    // Conditions may depend on other programs: it is looked at even if nothing happens here.
    const sigc::connection wake = Glib::signal_timeout().connect([] { return true; }, 10);
    bool holds = condition();
    while (!holds && std::chrono::steady_clock::now() < end) {
      context->iteration(true);
      holds = condition();
    }
    sigc::connection(wake).disconnect();
    return holds;
  }

  TestFolder m_folder;
  PrivateBus m_bus{m_folder};
  BluezProgram m_bluez{m_folder, m_bus.address()};
  LogRecorder m_log;
};

}  // namespace test
