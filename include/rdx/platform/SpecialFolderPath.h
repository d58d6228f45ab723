#pragma once
#include <rdx/Export.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// The product's special folders. GetSpecialFolderPath (SystemInformation.h) resolves each
/// value to a folder ending in "/"; the application object passes the same numbers through.
///
///   std::string logs = GetSpecialFolderPath(SpecialFolderPath::UserLogs);
///   // e.g. "/home/ann/.local/share/QUORVAN/Rendix/Logs/"
class RDX_API SpecialFolderPath {
 public:
  /// Values 0 to 20; the numbers are stored in configuration and passed between processes, so
  /// they never change. Folders under the install home are relative names when the registry
  /// has no "Home" value. Any int converts, so a number read from outside can be passed as is.
  enum SpecialFolder : int {
    DefinitionsHome = 0,              ///< install home + "XADefs/"
    InstallHome = 1,                  ///< registry "Home", "\" turned into "/"
    DefinitionsRPDefGenerators = 2,   ///< definitions home + "RPDef Generators/"
    RPDefGenerators = 3,              ///< install home + "RPDef Generators/"
    DefinitionsRasterFormats = 4,     ///< definitions home + "Raster Formats/"
    RasterFormats = 5,                ///< install home + "Raster Formats/"
    DefinitionsRasterProcesses = 6,   ///< definitions home + "Raster Processes/"
    RasterProcesses = 7,              ///< install home + "Raster Processes/"
    UserAppData = 8,                  ///< $XDG_DATA_HOME (or ~/.local/share) + "/QUORVAN/"
    UserProductAppData = 9,           ///< user app data + "Rendix/": the configuration folder
    FormatRuntimeData = 10,           ///< install home + "Format Runtime Data/"
    UserProductDocuments = 11,        ///< the XDG documents folder + "QUORVAN/Rendix/"
    UserLogs = 12,                    ///< user product app data + "Logs/"
    DefinitionsGeoTransformers = 13,  ///< definitions home + "GeoTransformers/"
    Symbology = 14,                   ///< install home + "Symbology/"
    InstallHomeAsStored = 15,         ///< registry "Home" as stored, a trailing "/" ensured
    Help = 16,                        ///< install home + "Help/"
    Bitmaps = 17,                     ///< install home + "Bitmaps/"
    UserConfig = 18,                  ///< user product app data + "Config/"
    PEData = 19,                      ///< install home + "pedata/"
    Bin = 20,                         ///< install home + "Bin/"
  };
};

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
