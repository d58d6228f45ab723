// XMLProperties: the select-then-read cursor over a shared pugixml-backed document.
#include <rdx/platform/XMLProperties.h>

#include <rdx/foundation/StringUtility.h>

#include "platform/XMLPropertiesState.h"
#include "platform/xml/XmlDocument.h"

#include <filesystem>
#include <system_error>

namespace QUORVAN::Rendix::GeneralUtilityLib {
namespace {

constexpr std::uint32_t kNoCount = 0xFFFFFFFF;
constexpr const char* kGenericFailure = "Undefined error;  Exception caught";

bool NamesExistingEntry(const std::string& source) {
  if (source.find('\0') != std::string::npos) return false;  // not a path the system can name
  std::error_code code;
  return std::filesystem::exists(source, code);
}

}  // namespace

// Failures leave a cleared status behind and nothing else; callers go by the return value.
void XMLProperties::Fail(const std::string& message) {
  try {
    dom_->lastFailure = message;
    status_.clear(0, message, "", "");
  } catch (...) {  // out of memory while reporting: the return value still tells the caller
  }
}

XMLProperties::XMLProperties() : dom_(std::make_unique<Dom>()) {}

XMLProperties::~XMLProperties() = default;

XMLProperties::XMLProperties(const XMLProperties& other)
    : status_(other.status_),
      attributes_(other.attributes_),
      dom_(std::make_unique<Dom>(*other.dom_)),
      lastXPath_(other.lastXPath_) {}

XMLProperties& XMLProperties::operator=(const XMLProperties& other) {
  if (this != &other) {
    status_ = other.status_;
    attributes_ = other.attributes_;
    *dom_ = *other.dom_;
    lastXPath_ = other.lastXPath_;
  }
  return *this;
}

bool XMLProperties::init(const std::string& source) {
  try {
    lastXPath_.clear();
    if (!source.empty()) {
      std::optional<rdx::xml::ParseError> error;
      dom_->slot->document = NamesExistingEntry(source) ? rdx::xml::LoadFile(source, error)
                                                        : rdx::xml::LoadText(source, error);
      if (error) {
        Fail(StringUtility::printToString(
            "Could not load XML: '%s'.  Please ensure that the XML is accessible and valid.  "
            "Code: '%Xh';  Line: '%lu';  Column: '%lu';  Reason: '%s'",
            truncateStringForDisplay(source, "...", 100).c_str(), error->code,
            static_cast<unsigned long>(error->line), static_cast<unsigned long>(error->column),
            chopSpaces(error->reason).c_str()));
        return false;
      }
    }
    attributes_.clear();
    return true;
  } catch (...) {
    Fail(kGenericFailure);
    return false;
  }
}

bool XMLProperties::close() {
  attributes_.clear();
  return true;
}

bool XMLProperties::save(const std::string& path) {
  try {
    if (rdx::xml::SaveFile(*dom_->slot->document, path)) return true;
  } catch (...) {
  }
  Fail(kGenericFailure);
  return false;
}

bool XMLProperties::selectNode(const std::string& xpath, std::uint32_t index) {
  if (xpath.empty()) return false;
  try {
    if (xpath != lastXPath_) {
      lastXPath_ = xpath;
      // A failing query leaves the previous list in place, remembered under this XPath.
      dom_->nodeList = rdx::xml::SelectNodes(dom_->slot->document, xpath);
      if (index >= dom_->nodeList->Length()) return false;
    }
    // Same XPath: the cached list is reused without querying again, for the callers that step
    // through one list with increasing indexes; an index past its end selects no node.
    dom_->current = dom_->nodeList ? dom_->nodeList->Item(index) : rdx::xml::NodeRef{};
    attributes_.clear();
    return dom_->current.Live();
  } catch (...) {
    Fail(StringUtility::printToString("Could not select XML node; XPath: '%s'", xpath.c_str()));
    return false;
  }
}

std::uint32_t XMLProperties::getNumNodes(const std::string& xpath) {
  if (xpath.empty()) return kNoCount;
  try {
    dom_->nodeList = rdx::xml::SelectNodes(dom_->slot->document, xpath);
    const std::size_t length = dom_->nodeList->Length();
    return length >= kNoCount ? kNoCount : static_cast<std::uint32_t>(length);
  } catch (...) {
    Fail(StringUtility::printToString("Could not count nodes in XML; XPath: '%s'", xpath.c_str()));
    return kNoCount;
  }
}

std::uint32_t XMLProperties::getNumChildren(const std::string& xpath) {
  if (xpath.empty()) return kNoCount;
  try {
    // Replaced even when the query finds nothing; a query that fails keeps the current node.
    dom_->current = rdx::xml::SelectSingleNode(dom_->slot->document, xpath);
    if (!dom_->current.Live()) return kNoCount;
    return rdx::xml::ChildCount(dom_->current.node).value_or(kNoCount);
  } catch (...) {
    Fail(StringUtility::printToString("Could not count children in XML; XPath: '%s'",
                                      xpath.c_str()));
    return kNoCount;
  }
}

// The readers below treat a missing current node as the DOM treats a call through a null
// node: a failure of the generic kind.

std::string XMLProperties::getNodeName() {
  try {
    if (dom_->current.Live()) return rdx::xml::NodeName(dom_->current.node);
  } catch (...) {
  }
  Fail(kGenericFailure);
  return "";
}

std::string XMLProperties::getNodeText(const std::string& defaultValue) {
  try {
    if (dom_->current.Live()) {
      std::string text = rdx::xml::NodeText(dom_->current.node);
      return text.empty() ? defaultValue : text;
    }
  } catch (...) {
  }
  Fail(kGenericFailure);
  return defaultValue;
}

std::string XMLProperties::getNodeContents(const std::string& defaultValue) {
  try {
    if (dom_->current.Live()) {
      switch (rdx::xml::FirstChildKind(dom_->current.node)) {
        case rdx::xml::FirstChild::kNone: return defaultValue;
        case rdx::xml::FirstChild::kText: return rdx::xml::NodeText(dom_->current.node);
        case rdx::xml::FirstChild::kOther: return rdx::xml::NodeMarkup(dom_->current.node);
      }
    }
  } catch (...) {
  }
  Fail(kGenericFailure);
  return defaultValue;
}

bool XMLProperties::setNodeText(const std::string& text) {
  try {
    if (dom_->current.Live() &&
        rdx::xml::SetNodeText(*dom_->current.owner, dom_->current.node, text)) {
      return true;
    }
  } catch (...) {
  }
  Fail(kGenericFailure);
  return false;
}

std::string XMLProperties::getNodeTextFrom(const std::string& xpath,
                                           const std::string& defaultValue) {
  if (!selectNode(xpath, 0)) return "";
  return getNodeText(defaultValue);
}

std::string XMLProperties::getNodeAsString() {
  try {
    if (dom_->current.Live()) return rdx::xml::NodeMarkup(dom_->current.node);
  } catch (...) {
  }
  Fail(kGenericFailure);
  return "";
}

const PropertyLookUp& XMLProperties::getAttributes() {
  try {
    if (attributes_.empty() && dom_->current.Live()) {
      for (auto& [name, value] : rdx::xml::Attributes(dom_->current.node)) {
        attributes_[name] = std::move(value);
      }
    }
  } catch (...) {
    Fail(kGenericFailure);
  }
  return attributes_;
}

std::string XMLProperties::getProperty(const std::string& /*name*/) { return ""; }

bool XMLProperties::setProperty(const std::string& /*name*/, const std::string& /*value*/) {
  return false;
}

const Status& XMLProperties::getStatus() const { return status_; }

PropertyLookUp getNodeSetAsLookUp(XMLProperties& xml, const std::string& xpath) {
  PropertyLookUp lookUp;
  try {
    const std::uint32_t count = xml.getNumNodes(xpath);
    if (count == kNoCount) return lookUp;  // a bad XPath counts nothing, not four billion
    for (std::uint32_t i = 0; i < count; ++i) {
      if (xml.selectNode(xpath, i)) lookUp[xml.getNodeName()] = xml.getNodeText("");
    }
  } catch (...) {
    lookUp.clear();
  }
  return lookUp;
}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
