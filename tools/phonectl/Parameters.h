#pragma once

#include <giomm.h>

#include <optional>
#include <string>

namespace phonectl {

/// The named parameters of a message to or from the phone: one `a{sv}`. A text travels as `s`, or
/// as `ay` when it isn't UTF-8 or holds NUL.
///
/// What comes from the bus is not trusted: a parameter that is missing or has another type is none.
///
/// Threads: a plain value.
class Parameters {
 public:
  Parameters() = default;
  /// From the body of a message. A body that isn't `(a{sv})` has no parameters.
  explicit Parameters(const Glib::VariantContainerBase& body);

  Parameters& addBool(const std::string& name, bool value);
  Parameters& addInt(const std::string& name, int value);
  Parameters& addText(const std::string& name, const std::string& value);

  /// The body of a message.
  [[nodiscard]] Glib::VariantContainerBase body() const;

  [[nodiscard]] std::optional<std::string> text(const std::string& name) const;
  [[nodiscard]] std::optional<bool> boolean(const std::string& name) const;
  /// Any of D-Bus's whole numbers.
  [[nodiscard]] std::optional<long long> number(const std::string& name) const;

  [[nodiscard]] const std::map<Glib::ustring, Glib::VariantBase>& all() const { return m_values; }

  /// What such a value holds.
  static std::optional<std::string> textIn(const Glib::VariantBase& value);
  static std::optional<bool> booleanIn(const Glib::VariantBase& value);
  static std::optional<long long> numberIn(const Glib::VariantBase& value);

 private:
  [[nodiscard]] const Glib::VariantBase* find(const std::string& name) const;

  std::map<Glib::ustring, Glib::VariantBase> m_values;
};

}  // namespace phonectl
