#pragma once
#include <rdx/Export.h>

#include <string>

namespace QUORVAN::Rendix::Global {

/// The process's application object: reads the global configuration file "Global.RXConfig"
/// from the configuration folder, answers where the product's special folders are (with the
/// site's overrides), holds a process-wide property map and starts the host's component
/// framework on request. Reach it with GetRDXApplicationObject (ExportedFunctions.h).
///
///   IRDXApplication* app = GetRDXApplicationObject();
///   std::string message;
///   if (app->Initialize(&message) == 1) {
///     std::string logs = app->GetSpecialFolderPath(IRDXApplication::UserLogs);
///   }
class RDX_API IRDXApplication {
 public:
  /// The numbers of GeneralUtilityLib::SpecialFolderPath, passed through unchanged. 9 is the
  /// configuration folder (where "Global.RXConfig" lies), 12 the logs folder.
  enum SpecialFolderNameEnum : int {
    DefinitionsHome = 0,
    InstallHome = 1,
    DefinitionsRPDefGenerators = 2,
    RPDefGenerators = 3,
    DefinitionsRasterFormats = 4,
    RasterFormats = 5,
    DefinitionsRasterProcesses = 6,
    RasterProcesses = 7,
    UserAppData = 8,
    UserProductAppData = 9,
    FormatRuntimeData = 10,
    UserProductDocuments = 11,
    UserLogs = 12,
    DefinitionsGeoTransformers = 13,
    Symbology = 14,
    InstallHomeAsStored = 15,
    Help = 16,
    Bitmaps = 17,
    UserConfig = 18,
    PEData = 19,
    Bin = 20,
  };

  /// (Re)reads "Global.RXConfig" and, when the property "Initialize_GF" is true and no
  /// framework runs yet, starts the installed framework. 1 on success, 0 on failure; a missing
  /// configuration file is no failure. `message` (may be null) gets a line for the caller.
  virtual int Initialize(std::string* message) = 0;
  /// Shuts the started framework down and forgets it. 1; 0 when that fails.
  virtual int Shutdown() = 0;
  /// The folder, ending in "/": for the logs folder the configured "DefaultLogs" override when
  /// there is one; otherwise the system's answer ("/" alone for values outside 0-20).
  virtual std::string GetSpecialFolderPath(SpecialFolderNameEnum folder) = 0;
  /// A description for people; "" (the application adds nothing to the object base's form).
  virtual std::string ToString() = 0;
  /// Sets a process-wide property (names without regard to case). Returns 1. Set properties
  /// before worker threads read them: the map itself is not locked.
  virtual int SetProperty(const std::string& name, const std::string& value) = 0;
  /// A property's value; an unknown name reads as "" and is entered with that value.
  virtual std::string GetProperty(const std::string& name) = 0;
  virtual ~IRDXApplication() = default;
};

}  // namespace QUORVAN::Rendix::Global
