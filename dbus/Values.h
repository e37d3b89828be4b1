#pragma once

#include <gio/gio.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// D-Bus values as C++ types. Values from other programs are not trusted: one that is missing or of
// an unexpected type reads as nullopt. Threads: any.
namespace dbus {

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

/// Whether `value` is not null and of this D-Bus type, such as "(a{sv})".
bool isOfType(GVariant* value, const char* type);

/// The text in an `s` or `ay`, unchanged.
std::optional<std::string> textIn(GVariant* value);
/// The text as `s`, or as `ay` if it is not valid UTF-8 or contains NUL, which `s` can't carry.
/// Floating.
GVariant* textVariant(const std::string& text);

/// The value of this name in an `a{sv}`; null if there is none or `dictionary` isn't an `a{sv}`.
VariantPtr valueNamed(GVariant* dictionary, const char* name);

std::optional<bool> boolNamed(GVariant* dictionary, const char* name);
/// An `s`, cut to `kMaxText` bytes at a character boundary.
std::optional<std::string> textNamed(GVariant* dictionary, const char* name);
/// An `as`, cut to `kMaxTexts` elements, each as `textNamed` returns it.
std::optional<std::vector<std::string>> textsNamed(GVariant* dictionary, const char* name);

inline constexpr std::size_t kMaxText = 1024;
inline constexpr std::size_t kMaxTexts = 256;

}  // namespace dbus
