#include <rdx/reporting/StatusFilter.h>

#include <rdx/application/ExportedFunctions.h>
#include <rdx/application/IRDXApplication.h>
#include <rdx/foundation/StringUtility.h>

namespace QUORVAN::Rendix::Global {
namespace {

namespace gul = QUORVAN::Rendix::GeneralUtilityLib;

const char* const kSection = "//StatusFilter";

}  // namespace

int StatusFilter::Initialize(const std::string& xml) {
  try {
    NameValueMap settings;
    IRDXApplication* application = GetRDXApplicationObject();
    if (application != nullptr) {
      const std::string path =
          application->GetSpecialFolderPath(IRDXApplication::UserProductAppData) +
          "Global.RXConfig";
      settings.LoadXml(path, kSection);  // a missing file or section leaves it empty
    }
    if (!xml.empty()) {
      NameValueMap callers;
      if (callers.LoadXml(xml, kSection) == 0) return 0;
      // The caller's text overrides the file, but an empty value does not erase it.
      for (const auto& [name, value] : callers) {
        if (!value.empty()) settings[name] = value;
      }
    }
    const NameValueMap& lookup = settings;
    if (lookup.Exists("ExcludeMatch")) {
      for (const std::string& pattern : gul::split(lookup["ExcludeMatch"], ";,\r\n")) {
        excludePatterns_[pattern];
      }
    }
    if (lookup.Exists("ExcludeIfMessageHasPipes")) {
      excludeIfMessageHasPipes_ =
          gul::StringUtility::toBoolean(lookup["ExcludeIfMessageHasPipes"], false);
    }
    return 1;
  } catch (...) {
    return 0;
  }
}

std::string StatusFilter::Clean(const std::string& statusXml) {
  try {
    gul::Status in;
    in.Append(statusXml);
    gul::Status out;
    EliminateUnwantedItems(in, out, excludePatterns_);
    if (out.items.empty()) return "";
    return out.ToString(nullptr);
  } catch (...) {
    return "";
  }
}

int StatusFilter::EliminateUnwantedItems(const gul::Status& in, gul::Status& out,
                                         NameValueMap& patterns) {
  for (const gul::StatusItem& item : in.items) {
    if (item.id != 0) {
      out.Append(item);
      continue;
    }
    bool excluded = false;
    for (const auto& pattern : patterns) {
      if (gul::matchString(item.source, pattern.first, true).first != std::string::npos) {
        excluded = true;
        break;
      }
    }
    if (!excluded && excludeIfMessageHasPipes_ && item.message.find('|') != std::string::npos) {
      excluded = true;
    }
    if (!excluded) out.Append(item);
  }
  return 1;
}

// Only running out of memory can throw below; it must not reach the caller.
int StatusFilter::SetProperty(const std::string& name, const std::string& value) {
  try {
    properties_[name] = value;
  } catch (...) {
  }
  return 1;
}

std::string StatusFilter::GetProperty(const std::string& name) {
  try {
    return properties_[name];
  } catch (...) {
    return "";
  }
}

std::string StatusFilter::GetStatus() {
  try {
    return status_.ToString(nullptr);
  } catch (...) {
    return "";
  }
}

}  // namespace QUORVAN::Rendix::Global
