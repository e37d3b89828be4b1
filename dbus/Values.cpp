#include "dbus/Values.h"

#include <algorithm>

namespace host {
namespace {

std::string textOf(GVariant* value) {
  gsize length = 0;
  const char* text = g_variant_get_string(value, &length);
  if (length <= kMaxText) return {text, length};
  // Not within a character.
  const char* end = g_utf8_find_prev_char(text, text + kMaxText);
  return {text, end == nullptr ? text : end};
}

}  // namespace

VariantPtr valueNamed(GVariant* dictionary, const char* name) {
  if (dictionary == nullptr || g_variant_is_of_type(dictionary, G_VARIANT_TYPE_VARDICT) == FALSE)
    return nullptr;
  return VariantPtr(g_variant_lookup_value(dictionary, name, nullptr));
}

std::optional<bool> boolNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name);
  if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) == FALSE)
    return std::nullopt;
  return g_variant_get_boolean(value.get()) != FALSE;
}

std::optional<std::string> textNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name);
  if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING) == FALSE)
    return std::nullopt;
  return textOf(value.get());
}

std::optional<std::uint32_t> numberNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name);
  if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_UINT32) == FALSE)
    return std::nullopt;
  return g_variant_get_uint32(value.get());
}

std::optional<std::vector<std::string>> textsNamed(GVariant* dictionary, const char* name) {
  const VariantPtr value = valueNamed(dictionary, name);
  if (!value || g_variant_is_of_type(value.get(), G_VARIANT_TYPE_STRING_ARRAY) == FALSE)
    return std::nullopt;
  std::vector<std::string> texts;
  const gsize count = std::min<gsize>(g_variant_n_children(value.get()), kMaxTexts);
  for (gsize i = 0; i < count; ++i) {
    const VariantPtr text(g_variant_get_child_value(value.get(), i));
    texts.push_back(textOf(text.get()));
  }
  return texts;
}

}  // namespace host
