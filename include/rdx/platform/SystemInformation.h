#pragma once
// What a process learns about its machine and installation: names and address of this host,
// the user, product versions from the registry store, the product's folders, file-system
// helpers, error texts, UUIDs and an MD5 digest.
//
//   std::string version = GetRendixProductVersion();           // "0.0.0.0" when not installed
//   std::string config = GetSpecialFolderPath(SpecialFolderPath::UserProductAppData);
//
// The registry store is a folder tree rooted at $RDX_REGISTRY_ROOT (default
// /etc/quorvan/registry); the product key is "SOFTWARE\QUORVAN\Rendix" followed directly by
// $RDX_INSTALLATION. Every function is stateless, may be called from any thread, and answers
// "" rather than failing when the system cannot tell.

#include <rdx/Export.h>
#include <rdx/foundation/Status.h>
#include <rdx/platform/SpecialFolderPath.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace QUORVAN::Rendix::GeneralUtilityLib {

/// This machine's host name; "" on failure.
RDX_API std::string GetHostName();
/// The resolver's canonical (fully qualified) name of this host; "" when it has none.
RDX_API std::string GetFullyQualifiedDomainName();
/// The first address the resolver lists for this host, as numeric text (IPv4 or IPv6); "".
RDX_API std::string GetIPAddress();
/// Always true; neither argument is looked at (callers rely on host checks never failing).
RDX_API bool ValidateThisHostname(const std::string& host, std::string& errorText);
/// Login name of the effective user; "" when unknown.
RDX_API std::string GetTheUserName();

/// The value `valueName` of the key `keyPath` in this machine's registry store, up to its first
/// NUL; "" when the key or value is missing, unreadable or longer than 511 bytes.
RDX_API std::string GetRegistryValue(const std::string& keyPath, const std::string& valueName);
/// Sets the value `valueName` of `keyPath` in this machine's registry store, creating missing
/// keys. 0, or a Win32 code: 87 for an empty name, a name with "=" or a line break, or a value
/// with a line break; 5 when the store may not be written.
RDX_API std::int32_t SetRegistryValue(const std::string& keyPath, const std::string& valueName,
                                      const std::string& value);
/// The subkey names (sorted) and the values (in stored order) of `keyPath`. 0, or a Win32
/// code: 2 when the key is missing, 5 when it cannot be read.
RDX_API std::int32_t ListRegistryKey(const std::string& keyPath, std::vector<std::string>& subkeys,
                                     std::vector<std::pair<std::string, std::string>>& values);
/// Product key value "Version"; "0.0.0.0" when empty or missing.
RDX_API std::string GetRendixProductVersion();
/// Product key value "ClientVersion"; "0.0.0.0" when empty or missing.
RDX_API std::string GetRendixClientVersion();

/// The machine's common program files folder ("/opt/"), ending in "/".
RDX_API std::string GetMachineCommonFilesFolder();
/// Product key value "CommonHome" of `machine`, blanks chopped, "\" turned into "/", ending in
/// "/". This machine (empty name, "localhost", "127...", its own name, FQDN or address) is read
/// locally; another one over SSH (batch mode, the user's keys; $RDX_SSH names another client
/// program taking ssh's arguments), from the store at its default root or the remote
/// $RDX_REGISTRY_ROOT, within 30 seconds. On failure "" with errorCode
/// set: 53 and "The machine '<machine>' is not reachable.", 5 and the access-denied text, else
/// the code of the failing step and its system text.
RDX_API std::string GetRendixCommonFilesFolder(const std::string& machine, std::int32_t& errorCode,
                                               std::string& errorText);
/// The folder of `which` (see SpecialFolderPath.h), ending in "/"; "" for values outside 0-20.
RDX_API std::string GetSpecialFolderPath(SpecialFolderPath::SpecialFolder which);
/// A system folder by its shell number (5 documents, 26 roaming data, 28 local data, 35 common
/// data, 38 and 43 program files, 40 home), ending in "/"; "" for others.
RDX_API std::string getShellFolder(int folderId);

/// Creates every missing level of `path` ("\" or "/" separators), in order, and stops at the
/// first failure (false). The first level of a relative or "//server" path is taken as given.
RDX_API bool createDirectory(const std::string& path);
/// Bytes free to the caller on the file system holding the folder part of `path` (up to its
/// last separator); 18446744073709551615 when that cannot be told. `status` is not written.
RDX_API std::uint64_t getAvailableSpace(const std::string& path, Status& status);
/// (doesFileExist is with the string utilities, <rdx/foundation/StringUtility.h>.)
/// A fresh random UUID: 36 lower-case characters with hyphens.
RDX_API std::string CreateUUID();

/// The system's text for a Win32-style error code, blanks chopped.
RDX_API std::string GetLastErrorText(std::int32_t code);
/// GetLastErrorText of the calling thread's last error; "" when it is 0.
RDX_API std::string GetErrorString();

/// The MD5 digest of `text` and its terminating NUL (so it differs from a plain MD5 of the
/// text) in a malloc'ed 16-byte buffer; nothing happens for a null text or on failure.
/// Release the digest with destroy_hash.
RDX_API void make_hash(const char* text, unsigned char** digest, std::int32_t* digestLength);
/// Frees a digest of make_hash when both pointers are non-null; *digest is not reset.
RDX_API void destroy_hash(unsigned char** digest);

/// The running executable's file name (the part after the last "/").
RDX_API std::string GetRDXApplicationName();

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
