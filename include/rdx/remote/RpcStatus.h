#pragma once

#include <cstdint>

#include <rdx/Export.h>

namespace QUORVAN::Rendix::GeneralUtilityLib {

///@{
/// Win32 RPC status codes the library produces or tests for; GetLastErrorText gives their
/// standard texts.
inline constexpr std::int32_t RPC_S_OK = 0;
inline constexpr std::int32_t RPC_S_ACCESS_DENIED = 5;
inline constexpr std::int32_t RPC_S_OUT_OF_MEMORY = 14;
inline constexpr std::int32_t RPC_S_INVALID_STRING_BINDING = 1700;
inline constexpr std::int32_t RPC_S_INVALID_BINDING = 1702;
inline constexpr std::int32_t RPC_S_PROTSEQ_NOT_SUPPORTED = 1703;
inline constexpr std::int32_t RPC_S_INVALID_RPC_PROTSEQ = 1704;
inline constexpr std::int32_t RPC_S_INVALID_STRING_UUID = 1705;
inline constexpr std::int32_t RPC_S_INVALID_ENDPOINT_FORMAT = 1706;
inline constexpr std::int32_t RPC_S_ALREADY_LISTENING = 1713;
inline constexpr std::int32_t RPC_S_NOT_LISTENING = 1715;
inline constexpr std::int32_t RPC_S_UNKNOWN_IF = 1717;
inline constexpr std::int32_t RPC_S_CANT_CREATE_ENDPOINT = 1720;
inline constexpr std::int32_t RPC_S_SERVER_UNAVAILABLE = 1722;
inline constexpr std::int32_t RPC_S_SERVER_TOO_BUSY = 1723;
inline constexpr std::int32_t RPC_S_CALL_FAILED = 1726;
inline constexpr std::int32_t RPC_S_CALL_FAILED_DNE = 1727;
inline constexpr std::int32_t RPC_S_PROTOCOL_ERROR = 1728;
inline constexpr std::int32_t RPC_S_UNSUPPORTED_TRANS_SYN = 1730;
inline constexpr std::int32_t RPC_S_INVALID_BOUND = 1734;
inline constexpr std::int32_t RPC_S_DUPLICATE_ENDPOINT = 1740;
inline constexpr std::int32_t RPC_S_PROCNUM_OUT_OF_RANGE = 1745;
inline constexpr std::int32_t EPT_S_NOT_REGISTERED = 1753;
inline constexpr std::int32_t RPC_X_NULL_REF_POINTER = 1780;
inline constexpr std::int32_t RPC_X_ENUM_VALUE_OUT_OF_RANGE = 1781;
inline constexpr std::int32_t RPC_X_BAD_STUB_DATA = 1783;
///@}

}  // namespace QUORVAN::Rendix::GeneralUtilityLib
