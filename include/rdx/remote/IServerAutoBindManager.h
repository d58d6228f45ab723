#pragma once
#include <rdx/Export.h>

#include <cstdint>
#include <string>

namespace QUORVAN::Rendix::ServerCore {

/// The server side of the automatic-binding interface (e02cd9b0-c582-4f18-946f-b62ee9560d27
/// v1.0). The library never calls it; it is published so that a server process can serve it
/// beside the server interface. Same argument conventions, and the same failing defaults, as
/// IServerCoreManager.
class RDX_API IServerAutoBindManager {
 public:
  virtual ~IServerAutoBindManager();

  virtual std::int8_t Op0(std::string& text);  ///< Operation 0.
  /// Operation 1.
  virtual std::int8_t Op1(const char* first, std::string& second, std::string& third);
  virtual std::int8_t Op2(const char* text);  ///< Operation 2.
  /// Operation 3.
  virtual std::int8_t Op3(const char* first, std::int8_t flag, const char* second,
                          std::string& third);
  /// `text` holds `size` zero bytes; set `size` to the count written.
  virtual std::int8_t Op4(const char* first, const char* second, std::int32_t& size, char* text,
                          std::string& third);
  /// Operation 5, with the same buffer convention as Op4.
  virtual std::int8_t Op5(const char* first, const char* second, std::int32_t& size, char* text,
                          std::string& third);
};

/// As CreateServerCoreInterfaceSpec, for this interface.
RDX_API void* CreateServerAutoBindInterfaceSpec(IServerAutoBindManager* manager) noexcept;
/// Frees what CreateServerAutoBindInterfaceSpec returned, once its listener has stopped;
/// null is ignored.
RDX_API void DestroyServerAutoBindInterfaceSpec(void* interfaceSpec) noexcept;

}  // namespace QUORVAN::Rendix::ServerCore
