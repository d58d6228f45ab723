#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/NameValueMap.h>
#include <rdx/foundation/Status.h>

#include <map>
#include <string>

namespace QUORVAN::Rendix::Global {

/// Removes unwanted informational items from a status report. Configured from the
/// "//StatusFilter" section of "Global.RXConfig" in the configuration folder and, optionally, a
/// caller's XML text with the same section:
///
/// \code{.xml}
///   <StatusFilter>
///     <ExcludeMatch>Reporter.Heartbeat;Cache,Tile</ExcludeMatch>
///     <ExcludeIfMessageHasPipes>true</ExcludeIfMessageHasPipes>
///   </StatusFilter>
/// \endcode
///
/// Only items with id 0 can be removed: one whose source contains an "ExcludeMatch" pattern
/// (case ignored), or whose message contains "|" when "ExcludeIfMessageHasPipes" is true.
/// Items with any other id always pass. Not synchronised; copy it to hand it over.
class RDX_API StatusFilter {
 public:
  StatusFilter() = default;
  ///@{
  /// Copies carry the patterns, the settings and the status.
  StatusFilter(const StatusFilter&) = default;
  StatusFilter& operator=(const StatusFilter&) = default;
  ///@}
  virtual ~StatusFilter() = default;

  /// Adds the configuration file's settings, overridden by the non-empty values of `xml`'s
  /// "//StatusFilter" section. Patterns accumulate over calls, they are never cleared. 1; 0
  /// (nothing changed) when `xml` is not empty and has no readable "//StatusFilter" section.
  virtual int Initialize(const std::string& xml);
  /// The status XML without the excluded items, re-rendered; "" when no item survives or the
  /// text is not status XML.
  virtual std::string Clean(const std::string& statusXml);
  /// Stores a property (exact names); always 1.
  virtual int SetProperty(const std::string& name, const std::string& value);
  /// A stored property; an unknown name reads as "" and is entered with that value.
  virtual std::string GetProperty(const std::string& name);
  /// The filter's own status as status XML; "" when it is empty.
  virtual std::string GetStatus();

 private:
  int EliminateUnwantedItems(const GeneralUtilityLib::Status& in, GeneralUtilityLib::Status& out,
                             NameValueMap& patterns);

  NameValueMap excludePatterns_;  ///< the patterns are the keys; values stay empty
  std::map<std::string, std::string> properties_;
  bool excludeIfMessageHasPipes_ = false;
  GeneralUtilityLib::Status status_;
};

}  // namespace QUORVAN::Rendix::Global
