#include "framework/ClientUtils.h"

int ClientUtils::extractValueFromXMLString(const std::string& xml, const std::string& name,
                                           std::string& value) {
  const std::string open = "<" + name + ">";
  const std::string close = "</" + name + ">";
  const std::size_t opened = xml.find(open);
  if (opened == std::string::npos) return 0;
  const std::size_t begin = opened + open.size();
  const std::size_t end = xml.find(close, begin);
  if (end == std::string::npos) return 0;
  value = xml.substr(begin, end - begin);
  return 1;
}
