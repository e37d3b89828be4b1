#include "host/bluetooth/ServiceRecord.h"

#include <glib.h>

#include <cstdio>

namespace host {
namespace {

// By the attribute's number: service classes, protocols, browse group, profile version, name,
// supported formats. Not 0xFF, "any object": others than vCards are refused.
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

}  // namespace

std::string serviceRecord(int channel) {
  char number[16];
  std::snprintf(number, sizeof number, "0x%02x", static_cast<unsigned>(channel) & 0xFFU);
  return std::string(kHead) + number + kMiddle + kRecordName + kTail;
}

std::string randomUuid() {
  char* const text = g_uuid_string_random();
  std::string uuid = text;
  g_free(text);
  return uuid;
}

}  // namespace host
