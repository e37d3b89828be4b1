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

/// A private system bus, the stand-in for BlueZ (not started), and the main loop, which runs while
/// the test waits.
class BluezFixture : public testing::Test {
 protected:
  BluezFixture() {
    Gio::init();
    ::setenv("DBUS_SYSTEM_BUS_ADDRESS", m_bus.address().c_str(), 1);
  }

  /// Runs the main loop until the condition holds; returns whether it does.
  static bool runUntil(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const auto context = Glib::MainContext::get_default();
    // Other programs can make the condition true without an event here.
    const sigc::connection wake = Glib::signal_timeout().connect([] { return true; }, 10);
    bool holds = condition();
    while (!holds && std::chrono::steady_clock::now() < end) {
      context->iteration(true);
      holds = condition();
    }
    sigc::connection(wake).disconnect();
    return holds;
  }

  /// Runs the main loop until every timer set before with at most this interval has fired.
  static void outlastTimers(std::chrono::milliseconds interval) {
    bool fired = false;
    Glib::signal_timeout().connect_once([&fired] { fired = true; },
                                        static_cast<unsigned>(interval.count()));
    EXPECT_TRUE(runUntil([&fired] { return fired; }));
  }

  TestFolder m_folder;
  PrivateBus m_bus{m_folder};
  BluezProgram m_bluez{m_folder, m_bus.address()};
  LogRecorder m_log;
};

}  // namespace test
