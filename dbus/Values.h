#pragma once

#include <gio/gio.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace host {

struct VariantUnref {
  void operator()(GVariant* value) const { g_variant_unref(value); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

// Values of another program's properties: one that is missing or has another type than it should
// have is none. Threads: any.

/// The value of that name in an `a{sv}`, null when there is none or `dictionary` is something else.
VariantPtr valueNamed(GVariant* dictionary, const char* name);

std::optional<bool> boolNamed(GVariant* dictionary, const char* name);
std::optional<std::string> textNamed(GVariant* dictionary, const char* name);
std::optional<std::uint32_t> numberNamed(GVariant* dictionary, const char* name);
/// The texts of an `as`, at most `kMaxTexts` of them.
std::optional<std::vector<std::string>> textsNamed(GVariant* dictionary, const char* name);

inline constexpr std::size_t kMaxTexts = 256;
/// Longer texts are cut.
inline constexpr std::size_t kMaxText = 1024;

}  // namespace host
