#pragma once
#include <rdx/Export.h>
#include <rdx/foundation/Status.h>
#include <rdx/reporting/IReporter.h>

#include <string>

namespace QUORVAN::Rendix::Global {

/// IObject: the root interface of the library's components: two reporter hooks, a property bag
/// by name, a current status and a text form. Object is the standard implementation.
class RDX_API IObject {
 public:
  IObject() = default;
  ///@{
  /// Copyable for the implementations' sake; the interface has no state.
  IObject(const IObject&) = default;
  IObject& operator=(const IObject&) = default;
  ///@}
  virtual ~IObject() = default;

  /// Stores a borrowed reporter for derived classes' errors (null allowed); 0 means no error.
  virtual int SetErrorHandler(IReporter* reporter) = 0;
  /// Stores the borrowed reporter that status is sent to (null allowed); 0 means no error.
  virtual int SetStatusReporter(IReporter* reporter) = 0;
  /// A description of the object; "" unless a derived class says more.
  virtual std::string ToString() = 0;
  /// Sets a property by name (case ignored); 1 when stored, 0 when name and value are both empty.
  virtual int SetProperty(const std::string& name, const std::string& value) = 0;
  /// The property's value, or "" when it is not set.
  virtual std::string GetProperty(const std::string& name) = 0;
  /// The object's current status, filled as operations fail.
  virtual const GeneralUtilityLib::Status& GetStatus() = 0;
};

}  // namespace QUORVAN::Rendix::Global
