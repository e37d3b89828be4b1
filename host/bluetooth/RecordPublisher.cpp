#include "host/bluetooth/RecordPublisher.h"

#include <glib.h>

#include <cstdio>

#include "host/loader/HostLog.h"

namespace host {
namespace {

// Service classes, protocols, browse group, profile version, name, supported formats. The formats
// don't include 0xFF (any object), because only vCards are accepted.
constexpr const char* kHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<record>
  <attribute id="0x0001"><sequence><uuid value="0x1105"/></sequence></attribute>
  <attribute id="0x0004">
    <sequence>
      <sequence><uuid value="0x0100"/></sequence>
      <sequence><uuid value="0x0003"/><uint8 value=")";
constexpr const char* kMiddle = R"("/></sequence>
      <sequence><uuid value="0x0008"/></sequence>
    </sequence>
  </attribute>
  <attribute id="0x0005"><sequence><uuid value="0x1002"/></sequence></attribute>
  <attribute id="0x0009">
    <sequence><sequence><uuid value="0x1105"/><uint16 value="0x0100"/></sequence></sequence>
  </attribute>
  <attribute id="0x0100"><text value=")";
constexpr const char* kTail = R"("/></attribute>
  <attribute id="0x0303">
    <sequence><uint8 value="0x01"/><uint8 value="0x02"/></sequence>
  </attribute>
</record>
)";

constexpr const char* kPath = "/org/obexphone/Bluetooth";
constexpr const char* kXml = R"(
<node>
  <interface name="org.bluez.Profile1">
    <method name="Release"/>
    <method name="NewConnection">
      <arg name="device" type="o" direction="in"/>
      <arg name="descriptor" type="h" direction="in"/>
      <arg name="properties" type="a{sv}" direction="in"/>
    </method>
    <method name="RequestDisconnection"><arg name="device" type="o" direction="in"/></method>
  </interface>
</node>)";

/// BlueZ itself listens, and takes the channel, for a profile whose UUID it knows.
std::string randomUuid() {
  char* const text = g_uuid_string_random();
  std::string uuid = text;
  g_free(text);
  return uuid;
}

GVariant* registration(const std::string& uuid, int channel) {
  GVariantBuilder options;
  g_variant_builder_init(&options, G_VARIANT_TYPE_VARDICT);
  g_variant_builder_add(&options, "{sv}", "Name", g_variant_new_string(bluez::kRecordName));
  g_variant_builder_add(&options, "{sv}", "Role", g_variant_new_string("server"));
  g_variant_builder_add(&options, "{sv}", "ServiceRecord",
                        g_variant_new_string(serviceRecord(channel).c_str()));
  return g_variant_new("(osa{sv})", kPath, uuid.c_str(), &options);
}

}  // namespace

std::string serviceRecord(int channel) {
  char number[16];
  std::snprintf(number, sizeof number, "0x%02x", static_cast<unsigned>(channel) & 0xFFU);
  return std::string(kHead) + number + kMiddle + bluez::kRecordName + kTail;
}

RecordPublisher::RecordPublisher(Bluez& bluez)
    : m_bluez(bluez),
      m_profile(kPath, bluez::kProfile, kXml,
                [this](const std::string& method, GVariant*) { return serve(method); }) {}

RecordPublisher::~RecordPublisher() { m_timer.disconnect(); }

void RecordPublisher::want(int channel) {
  if (channel == m_wanted) return;
  m_wanted = channel;
  m_backoff.reset();
  m_problem.clear();
  update();
}

void RecordPublisher::update() {
  if (m_generation != m_bluez.generation()) {
    // A restarted BlueZ knows nothing of our registration.
    m_generation = m_bluez.generation();
    m_state = State::kNone;
    m_backoff.reset();
    m_problem.clear();
    m_timer.disconnect();
  }
  if (!m_bluez.ready() || m_state == State::kRegistering) return;
  if (m_state == State::kRegistered && m_channel != m_wanted) unregisterRecord();
  if (m_state == State::kNone && m_wanted != 0 && !m_timer.connected()) registerRecord();
}

void RecordPublisher::registerRecord() {
  if (m_exportedOn != m_bluez.connection()) {
    m_profile.exportOn(m_bluez.connection());
    m_exportedOn = m_bluez.connection();
  }
  m_state = State::kRegistering;
  m_channel = m_wanted;
  m_bluez.call(bluez::kRoot, bluez::kProfileManager, "RegisterProfile",
               registration(randomUuid(), m_channel),
               [this](const Bluez::Reply& reply) { registrationAnswered(reply); });
}

void RecordPublisher::registrationAnswered(const Bluez::Reply& reply) {
  if (m_generation != m_bluez.generation()) return;
  if (reply.body) {
    m_state = State::kRegistered;
    m_backoff.reset();
    m_problem.clear();
    HOST_LOG_TRACE("service record for channel %d registered with BlueZ", m_channel);
  } else {
    m_state = State::kNone;
    m_denied = reply.error == bluez::kAccessDenied;
    m_problem =
        (m_denied ? "the system bus's policy denies access to BlueZ: " : "BlueZ refuses it: ") +
        reply.reason();
    HOST_LOG_ERROR("the service record is not published: %s", m_problem.c_str());
    tryLater();
  }
  update();
}

void RecordPublisher::tryLater() {
  m_timer = Glib::signal_timeout().connect(
      [this] {
        m_timer.disconnect();
        update();
        return false;
      },
      m_backoff.next());
}

void RecordPublisher::unregisterRecord() {
  m_state = State::kNone;
  m_bluez.call(bluez::kRoot, bluez::kProfileManager, "UnregisterProfile",
               g_variant_new("(o)", kPath), [](const Bluez::Reply& reply) {
                 if (!reply.body)
                   HOST_LOG_ERROR("can't unregister the service record: %s",
                                  reply.reason().c_str());
               });
}

GVariant* RecordPublisher::serve(const std::string& method) {
  // BlueZ has no connections to hand over: only our own socket listens.
  if (method == "NewConnection")
    throw BusError("org.bluez.Error.Rejected", "connections are accepted on the RFCOMM socket");
  if (method == "Release") {
    HOST_LOG_TRACE("BlueZ has dropped the service record");
    m_state = State::kNone;
    tryLater();
  }
  return g_variant_ref_sink(g_variant_new_tuple(nullptr, 0));
}

}  // namespace host
