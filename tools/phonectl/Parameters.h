#pragma once

#include <giomm.h>

#include <optional>
#include <string>

namespace phonectl {

/// The named parameters of a message to or from the phone, an `a{sv}`. A text is an `s`, or an `ay`
/// if it isn't valid UTF-8 or contains NUL. Reading returns nothing for a parameter that is missing
/// or has another type.
class Parameters {
 public:
  Parameters() = default;
  /// Reads the body of a message; empty unless that is an `(a{sv})`.
  explicit Parameters(const Glib::VariantContainerBase& body);

  Parameters& addBool(const std::string& name, bool value);
  Parameters& addInt(const std::string& name, int value);
  Parameters& addText(const std::string& name, const std::string& value);

  /// The body of a message.
  [[nodiscard]] Glib::VariantContainerBase body() const;

  [[nodiscard]] std::optional<std::string> text(const std::string& name) const;
  [[nodiscard]] std::optional<bool> boolean(const std::string& name) const;
  /// Any D-Bus integer type.
  [[nodiscard]] std::optional<long long> number(const std::string& name) const;

  [[nodiscard]] const std::map<Glib::ustring, Glib::VariantBase>& all() const { return m_values; }

  static std::optional<std::string> textIn(const Glib::VariantBase& value);
  static std::optional<bool> booleanIn(const Glib::VariantBase& value);
  static std::optional<long long> numberIn(const Glib::VariantBase& value);

 private:
  [[nodiscard]] const Glib::VariantBase* find(const std::string& name) const;

  std::map<Glib::ustring, Glib::VariantBase> m_values;
};

}  // namespace phonectl
