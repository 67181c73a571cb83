#include "platform/system/registration_text.h"

#include <bit>
#include <cctype>
#include <pugixml.hpp>

namespace {

// A text of ten properties takes a kilobyte; a limit bounds the parser's work and depth.
constexpr std::size_t kMaxTextLength = std::size_t{1} << 16;

// The name becomes part of a symbol.
bool IsIdentifier(std::string_view name) noexcept {
  if (name.empty() || name.size() > 255 || (name[0] >= '0' && name[0] <= '9')) return false;
  for (const char c : name) {
    const bool letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
    if (!letter && !(c >= '0' && c <= '9') && c != '_') return false;
  }
  return true;
}

pugi::xml_node FirstElement(pugi::xml_node parent) noexcept {
  pugi::xml_node child = parent.first_child();
  while (child && child.type() != pugi::node_element) child = child.next_sibling();
  return child;
}

const wchar_t* ParseClass(pugi::xml_node variant, SQvRTTIClass* parsed) {
  if (std::string_view(variant.attribute("version").value()) != "1.0") return L"unknown version";
  const pugi::xml_node node = FirstElement(variant);
  if (!IsIdentifier(node.name())) return L"no class name";
  if (std::string_view(node.attribute("runtype").value()) != "RQvRttiClass") return L"not a class record";
  parsed->className = CQvStringUtils::UTF8toW(node.name());
  for (int i = 0; i < SQvRTTIClass::kParentCount; ++i) {
    const std::string name = "m_parent" + std::to_string(i + 1);
    parsed->parents[i] = CQvStringUtils::UTF8toW(node.child(name.c_str()).attribute("value").value());
  }
  const pugi::xml_node singleton = node.child("m_additional").child("m_singleton");
  parsed->singleton = std::string_view(singleton.attribute("value").value()) == "true";
  return nullptr;
}

const wchar_t* ParseText(std::u16string_view text, SQvRTTIClass* parsed) {
  constexpr pugi::xml_encoding kEncoding =
      std::endian::native == std::endian::little ? pugi::encoding_utf16_le : pugi::encoding_utf16_be;
  if (text.size() > kMaxTextLength) return L"text too long";
  pugi::xml_document document;
  if (!document.load_buffer(text.data(), text.size() * sizeof(char16_t), pugi::parse_default, kEncoding)) {
    return L"not well-formed XML";
  }
  const pugi::xml_node root = FirstElement(document);
  if (std::string_view(root.name()) != "variant") return L"no variant";
  return ParseClass(root, parsed);
}

}  // namespace

const wchar_t* ParseRegistrationData(std::u16string_view data, std::vector<SQvRTTIClass>* classes) {
  std::vector<SQvRTTIClass> parsed;
  for (;;) {
    const std::size_t length = data.find(u'\0');
    if (length == std::u16string_view::npos) return L"unterminated";
    if (length == 0) break;
    if (const wchar_t* error = ParseText(data.substr(0, length), &parsed.emplace_back())) return error;
    data.remove_prefix(length + 1);
  }
  for (SQvRTTIClass& one : parsed) classes->push_back(std::move(one));
  return nullptr;
}
