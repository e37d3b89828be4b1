#include "host/push/JournalAnswer.h"

#include <string>

namespace host {
namespace {

GVariant* toVariant(const std::string& text) {
  if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE)
    return g_variant_new_string(text.c_str());
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), sizeof(guint8));
}

}  // namespace

GVariant* journalAnswer(const std::vector<JournalEntry>& entries) {
  GVariantBuilder all;
  g_variant_builder_init(&all, G_VARIANT_TYPE("aa{sv}"));
  for (const JournalEntry& entry : entries) {
    g_variant_builder_open(&all, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&all, "{sv}", "time", g_variant_new_int64(entry.time));
    g_variant_builder_add(&all, "{sv}", "phone", toVariant(entry.phone));
    g_variant_builder_add(&all, "{sv}", "peer", toVariant(entry.peer));
    g_variant_builder_add(&all, "{sv}", "peerName", toVariant(entry.peerName));
    g_variant_builder_add(&all, "{sv}", "object", toVariant(entry.object));
    g_variant_builder_add(&all, "{sv}", "size", g_variant_new_int64(entry.size));
    g_variant_builder_add(&all, "{sv}", "link", toVariant(entry.link));
    g_variant_builder_add(&all, "{sv}", "phonebook", toVariant(entry.book));
    g_variant_builder_close(&all);
  }
  return g_variant_ref_sink(g_variant_new("(aa{sv})", &all));
}

}  // namespace host
