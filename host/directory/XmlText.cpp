#include "host/directory/XmlText.h"

namespace host {

namespace {

void appendEscaped(std::string& xml, std::string_view value) {
  std::size_t plain = 0;
  for (std::size_t at = value.find_first_of("&<>\r"); at != std::string_view::npos;
       at = value.find_first_of("&<>\r", plain)) {
    xml.append(value.substr(plain, at - plain));
    switch (value[at]) {
      case '&':
        xml.append("&amp;");
        break;
      case '<':
        xml.append("&lt;");
        break;
      case '>':
        xml.append("&gt;");
        break;
      default:
        xml.append("&#13;");
        break;
    }
    plain = at + 1;
  }
  xml.append(value.substr(plain));
}

void appendTag(std::string& xml, std::string_view opening, std::string_view name) {
  xml.append(opening).append(name).append(">");
}

}  // namespace

void appendElement(std::string& xml, std::string_view name, std::string_view value) {
  appendTag(xml, "<", name);
  appendEscaped(xml, value);
  appendTag(xml, "</", name);
}

}  // namespace host
