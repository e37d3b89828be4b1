#include "cards/CardJson.h"

#include "cards/SafeText.h"

namespace cards {

nlohmann::ordered_json cardJson(const Card& card) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (const CardColumn& column : kCardColumns) {
    const std::string& value = card.*column.value;
    if (column.value != &Card::id || !value.empty()) json[column.name] = value;
  }
  return json;
}

std::string jsonLine(const nlohmann::ordered_json& json) {
  return safeJson(json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace));
}

}  // namespace cards
