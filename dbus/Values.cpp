#include "dbus/Values.h"

#include <algorithm>

namespace dbus {
namespace {

std::string cutText(GVariant* value) {
  gsize length = 0;
  const char* text = g_variant_get_string(value, &length);
  if (length <= kMaxText) return {text, length};
  const char* end = g_utf8_find_prev_char(text, text + kMaxText);
  return {text, end == nullptr ? text : end};
}

VariantPtr valueNamed(GVariant* dictionary, const char* name, const char* type) {
  VariantPtr value = dbus::valueNamed(dictionary, name);
  return isOfType(value.get(), type) ? std::move(value) : nullptr;
}

}  // namespace

bool isOfType(GVariant* value, const char* type) {
  return value != nullptr && g_variant_is_of_type(value, G_VARIANT_TYPE(type)) != FALSE;
}

std::optional<std::string> textIn(GVariant* value) {
  gsize length = 0;
  if (isOfType(value, "s")) {
    const char* const text = g_variant_get_string(value, &length);
    return std::string(text, length);
  }
  if (!isOfType(value, "ay")) return std::nullopt;
  const void* const bytes = g_variant_get_fixed_array(value, &length, sizeof(guint8));
  return length == 0 ? std::string() : std::string(static_cast<const char*>(bytes), length);
}

GVariant* textVariant(const std::string& text) {
  // With a length given, g_utf8_validate rejects NUL, too.
  if (g_utf8_validate(text.data(), static_cast<gssize>(text.size()), nullptr) != FALSE)
    return g_variant_new_string(text.c_str());
  return g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, text.data(), text.size(), sizeof(guint8));
}

VariantPtr valueNamed(GVariant* dictionary, const char* name) {
  if (!isOfType(dictionary, "a{sv}")) return nullptr;
  return VariantPtr(g_variant_lookup_value(dictionary, name, nullptr));
}

std::optional<bool> boolNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name, "b");
  if (!value) return std::nullopt;
  return g_variant_get_boolean(value.get()) != FALSE;
}

std::optional<std::string> textNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name, "s");
  if (!value) return std::nullopt;
  return cutText(value.get());
}

std::optional<std::vector<std::string>> textsNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name, "as");
  if (!value) return std::nullopt;
  std::vector<std::string> texts;
  const gsize count = std::min<gsize>(g_variant_n_children(value.get()), kMaxTexts);
  for (gsize i = 0; i < count; ++i) {
    const VariantPtr text(g_variant_get_child_value(value.get(), i));
    texts.push_back(cutText(text.get()));
  }
  return texts;
}

}  // namespace dbus
