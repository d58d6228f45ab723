#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/IObject.h>
#include <rdx/foundation/Status.h>

#include <string>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::Global {

/// Object: the base class of the library's components. It keeps a property bag, a current
/// Status that derived classes fill as operations fail, and sends status to a borrowed IReporter
/// as the status XML text.
///
///   class Proxy : public Object { ... status_.Append(0x10, "Could not open.", "Proxy.Open", "");
///   }; proxy.SetStatusReporter(&reporter);   // borrowed: keep the reporter alive meanwhile
///   proxy.ReportStatus();                 // the current status goes to reporter.Log(xml)
///
/// IObject is a virtual base so that a class joining several interfaces that each extend
/// IObject has one IObject. A derived class overriding one Report overload should bring the
/// others in with `using Object::Report;`.
class RDX_API Object : public virtual IObject {
 public:
  /// No reporters, no properties, empty status.
  Object();
  ///@{
  /// Copies share the reporters (still borrowed) and copy the properties and the status.
  Object(const Object& other);
  Object& operator=(const Object& other);
  ///@}
  ~Object() override;

  int SetErrorHandler(IReporter* reporter) override;    ///< returns 0
  int SetStatusReporter(IReporter* reporter) override;  ///< returns 0
  std::string ToString() override;                      ///< ""
  /// Both empty: 0, nothing changes. Otherwise the first pair whose name matches ignoring ASCII
  /// case gets the value (its name keeps the spelling it was first stored with), or a new pair
  /// is appended; 1. An empty name with a value is stored under the empty name.
  int SetProperty(const std::string& name, const std::string& value) override;
  /// The first matching pair's value up to its first zero byte, or "".
  std::string GetProperty(const std::string& name) override;
  const GeneralUtilityLib::Status& GetStatus() override;

  /// Sends the current status (not cleared) to the status reporter, if one is set.
  virtual void ReportStatus();
  /// Sends status to the status reporter, if one is set; 1 in every case. The object's own
  /// status is not touched.
  virtual int Report(const GeneralUtilityLib::Status& status);
  /// With a status reporter set: sends a one-item status (id 0, the formatted message cut to
  /// 4999 characters, source or ""). A null format sends "". Without a reporter the arguments
  /// are not even formatted.
  virtual void Report(const char* source, const char* format, ...)
      __attribute__((format(printf, 3, 4)));

  /// Each item as "\n<time> : <item text form>", the clock read per item; "" for no items.
  static std::string GetAsReportText(const GeneralUtilityLib::Status& status);
  /// Each item in the older report XML layout (time, "%06X" id, raw source, message, details,
  /// nothing escaped); "" for no items. Kept as it is for the readers of that layout.
  static std::string GetAsReportXml(const GeneralUtilityLib::Status& status);

 protected:
  /// Sends status's XML text to the status reporter; the reporter's answer is ignored.
  void SendStatus(const GeneralUtilityLib::Status& status);

  IReporter* errorHandler_ = nullptr;    ///< borrowed; kept for derived classes only
  IReporter* statusReporter_ = nullptr;  ///< borrowed; where Report and ReportStatus send
  /// Insertion order kept and names unique ignoring case, hence a list searched linearly.
  std::vector<std::pair<std::string, std::string>> properties_;
  GeneralUtilityLib::Status status_;  ///< derived classes append to it directly
};

}  // namespace QUORVAN::Rendix::Global
