#pragma once
// Every Win32 code the library produces or tests for, defined once: system errors, the RPC
// run-time statuses (17xx, also exported as RPC_S_... in <rdx/remote/RpcStatus.h>) and the
// Winsock codes of socket failures. Plain constants, not an enumeration: a code is the
// number GetLastError and the RPC calls hand out, and mixes with it in any expression.

#include <cstdint>

namespace rdx::os {

inline constexpr std::uint32_t kErrorSuccess = 0;
inline constexpr std::uint32_t kErrorFileNotFound = 2;
inline constexpr std::uint32_t kErrorPathNotFound = 3;
inline constexpr std::uint32_t kErrorAccessDenied = 5;
inline constexpr std::uint32_t kErrorInvalidHandle = 6;
inline constexpr std::uint32_t kErrorNotEnoughMemory = 8;
inline constexpr std::uint32_t kErrorOutOfMemory = 14;
// What an errno without a closer code maps to, so no failure reads as success.
inline constexpr std::uint32_t kErrorDeviceNotFunctioning = 31;
inline constexpr std::uint32_t kErrorSharingViolation = 32;
inline constexpr std::uint32_t kErrorBadNetPath = 53;
inline constexpr std::uint32_t kErrorFileExists = 80;
inline constexpr std::uint32_t kErrorInvalidParameter = 87;
inline constexpr std::uint32_t kErrorBrokenPipe = 109;
inline constexpr std::uint32_t kErrorDiskFull = 112;
inline constexpr std::uint32_t kErrorAlreadyExists = 183;
inline constexpr std::uint32_t kErrorFilenameTooLong = 206;
inline constexpr std::uint32_t kErrorPipeBusy = 231;
inline constexpr std::uint32_t kErrorNoData = 232;
inline constexpr std::uint32_t kErrorPipeNotConnected = 233;
inline constexpr std::uint32_t kErrorMoreData = 234;
inline constexpr std::uint32_t kErrorNotEnoughServerMemory = 1130;
inline constexpr std::uint32_t kErrorTimeout = 1460;

inline constexpr std::uint32_t kRpcInvalidStringBinding = 1700;
inline constexpr std::uint32_t kRpcInvalidBinding = 1702;
inline constexpr std::uint32_t kRpcProtocolNotSupported = 1703;
inline constexpr std::uint32_t kRpcInvalidProtocol = 1704;
inline constexpr std::uint32_t kRpcInvalidUuid = 1705;
inline constexpr std::uint32_t kRpcInvalidEndpointFormat = 1706;
inline constexpr std::uint32_t kRpcAlreadyListening = 1713;
inline constexpr std::uint32_t kRpcNotListening = 1715;
inline constexpr std::uint32_t kRpcUnknownInterface = 1717;
inline constexpr std::uint32_t kRpcCantCreateEndpoint = 1720;
inline constexpr std::uint32_t kRpcServerUnavailable = 1722;
inline constexpr std::uint32_t kRpcServerTooBusy = 1723;
inline constexpr std::uint32_t kRpcCallFailed = 1726;
inline constexpr std::uint32_t kRpcCallFailedDidNotExecute = 1727;
inline constexpr std::uint32_t kRpcProtocolError = 1728;
inline constexpr std::uint32_t kRpcUnsupportedTransferSyntax = 1730;
inline constexpr std::uint32_t kRpcUnsupportedUuidType = 1732;
inline constexpr std::uint32_t kRpcInvalidTag = 1733;
inline constexpr std::uint32_t kRpcInvalidBound = 1734;
inline constexpr std::uint32_t kRpcDuplicateEndpoint = 1740;
inline constexpr std::uint32_t kRpcProcedureOutOfRange = 1745;
inline constexpr std::uint32_t kRpcUnknownAuthenticationService = 1747;
inline constexpr std::uint32_t kRpcNoEndpointMapper = 1753;
inline constexpr std::uint32_t kRpcInternalError = 1766;
inline constexpr std::uint32_t kRpcIntegerDivisionByZero = 1767;
inline constexpr std::uint32_t kRpcAddressError = 1768;
inline constexpr std::uint32_t kRpcFloatDivisionByZero = 1769;
inline constexpr std::uint32_t kRpcFloatUnderflow = 1770;
inline constexpr std::uint32_t kRpcFloatOverflow = 1771;
inline constexpr std::uint32_t kRpcNullRefPointer = 1780;
inline constexpr std::uint32_t kRpcEnumValueOutOfRange = 1781;
inline constexpr std::uint32_t kRpcBadStubData = 1783;
inline constexpr std::uint32_t kRpcCallCancelled = 1818;
inline constexpr std::uint32_t kRpcCommunicationFailure = 1820;

inline constexpr std::uint32_t kWsaAddressInUse = 10048;
inline constexpr std::uint32_t kWsaConnectionRefused = 10061;
inline constexpr std::uint32_t kWsaHostNotFound = 11001;
}  // namespace rdx::os
