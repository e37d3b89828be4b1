#include "host/bus/Arguments.h"

#include <variant>

#include "dbus/Values.h"

namespace host {
namespace {

/// Returns false if a parameter can't have the type of `value`.
bool readArgument(const std::string& name, GVariant* value, Parameter::directions direction,
                  Method& method) {
  if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN)) {
    method.addBoolParameter(name, g_variant_get_boolean(value) != FALSE, direction);
  } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_INT32)) {
    method.addIntParameter(name, g_variant_get_int32(value), direction);
  } else if (const auto text = dbus::textIn(value)) {
    method.addStringParameter(name, *text, direction);
  } else {
    return false;
  }
  return true;
}

GVariant* toVariant(bool value) { return g_variant_new_boolean(value ? TRUE : FALSE); }
GVariant* toVariant(int value) { return g_variant_new_int32(value); }
GVariant* toVariant(const std::string& text) { return dbus::textVariant(text); }

}  // namespace

bool readArguments(GVariant* body, Parameter::directions direction, Method& method,
                   std::string& problem) {
  if (body == nullptr || !g_variant_is_of_type(body, G_VARIANT_TYPE("(a{sv})"))) {
    problem = std::string("the body must be one dictionary, (a{sv}), but is ") +
              (body == nullptr ? "empty" : g_variant_get_type_string(body));
    return false;
  }
  const dbus::VariantPtr dictionary(g_variant_get_child_value(body, 0));
  GVariantIter entries;
  g_variant_iter_init(&entries, dictionary.get());
  const char* name = nullptr;
  GVariant* raw = nullptr;
  while (g_variant_iter_next(&entries, "{&sv}", &name, &raw) != FALSE) {
    const dbus::VariantPtr value(raw);
    if (!readArgument(name, value.get(), direction, method))
      problem = std::string("the parameter \"") + name + "\" was ignored: it is of type " +
                g_variant_get_type_string(value.get()) + ", not b, i, s or ay";
  }
  return true;
}

GVariant* makeArguments(const Method& method, Parameter::directions direction) {
  GVariantBuilder builder;
  g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
  for (const Parameter& parameter : method.getParameters()) {
    if (parameter.direction != direction) continue;
    GVariant* value = std::visit([](const auto& held) { return toVariant(held); }, parameter.value);
    // Keys must be UTF-8, but a plug-in may have given its parameter any name.
    char* name =
        g_utf8_make_valid(parameter.name.data(), static_cast<gssize>(parameter.name.size()));
    g_variant_builder_add(&builder, "{sv}", name, value);
    g_free(name);
  }
  return g_variant_new("(a{sv})", &builder);
}

}  // namespace host
