#include "tools/phonectl/Parameters.h"

#include "dbus/Values.h"

namespace phonectl {

namespace {

bool isOf(const Glib::VariantBase& value, const char* type) {
  return value.gobj() != nullptr && value.get_type_string() == type;
}

GVariant* raw(const Glib::VariantBase& value) { return const_cast<GVariant*>(value.gobj()); }

}  // namespace

Parameters::Parameters(const Glib::VariantContainerBase& body) {
  if (!isOf(body, "(a{sv})")) return;
  Glib::Variant<std::map<Glib::ustring, Glib::VariantBase>> values;
  body.get_child(values, 0);
  m_values = values.get();
}

Parameters& Parameters::addBool(const std::string& name, bool value) {
  m_values[name] = Glib::Variant<bool>::create(value);
  return *this;
}

Parameters& Parameters::addInt(const std::string& name, int value) {
  m_values[name] = Glib::Variant<gint32>::create(value);
  return *this;
}

Parameters& Parameters::addText(const std::string& name, const std::string& value) {
  m_values[name] = Glib::VariantBase(dbus::textVariant(value));
  return *this;
}

Glib::VariantContainerBase Parameters::body() const {
  return Glib::VariantContainerBase::create_tuple(
      Glib::Variant<std::map<Glib::ustring, Glib::VariantBase>>::create(m_values));
}

std::optional<std::string> Parameters::textIn(const Glib::VariantBase& value) {
  return dbus::textIn(raw(value));
}

std::optional<bool> Parameters::booleanIn(const Glib::VariantBase& value) {
  if (!isOf(value, "b")) return std::nullopt;
  return g_variant_get_boolean(raw(value)) != FALSE;
}

std::optional<long long> Parameters::numberIn(const Glib::VariantBase& value) {
  GVariant* const variant = raw(value);
  if (isOf(value, "y")) return g_variant_get_byte(variant);
  if (isOf(value, "n")) return g_variant_get_int16(variant);
  if (isOf(value, "q")) return g_variant_get_uint16(variant);
  if (isOf(value, "i")) return g_variant_get_int32(variant);
  if (isOf(value, "u")) return g_variant_get_uint32(variant);
  if (isOf(value, "x")) return g_variant_get_int64(variant);
  if (isOf(value, "t")) return static_cast<long long>(g_variant_get_uint64(variant));
  return std::nullopt;
}

const Glib::VariantBase* Parameters::find(const std::string& name) const {
  const auto found = m_values.find(name);
  return found == m_values.end() ? nullptr : &found->second;
}

std::optional<std::string> Parameters::text(const std::string& name) const {
  const Glib::VariantBase* const value = find(name);
  return value == nullptr ? std::nullopt : textIn(*value);
}

std::optional<bool> Parameters::boolean(const std::string& name) const {
  const Glib::VariantBase* const value = find(name);
  return value == nullptr ? std::nullopt : booleanIn(*value);
}

std::optional<long long> Parameters::number(const std::string& name) const {
  const Glib::VariantBase* const value = find(name);
  return value == nullptr ? std::nullopt : numberIn(*value);
}

}  // namespace phonectl
