#pragma once
// The operation tables of the three interfaces. Operation numbers are the row positions, so
// a row is never removed or moved: the run time dispatches by number. The tables are
// constant expressions so that the typed stubs of both sides are checked against them when
// they are compiled.

#include <iterator>

#include "remote/stubs/OperationShape.h"

namespace rdx::rpc::tables {

using namespace shape;
inline constexpr ResultKind kSmall = ResultKind::kSmall;
inline constexpr ResultKind kLong = ResultKind::kLong;

inline constexpr OperationShape kServerCore[] = {
    Op("GetVersion", kSmall, IO),
    Op("Op1", kSmall, S),
    Op("Op2", kSmall, S, Data(2), N, Sized(4), SizePtr),  // the size follows its array
    Op("Op3", kSmall, S),
    Op("OpenSession", kSmall, S, IO, IO),
    Op("QueryText", kLong, S, N, Text(1)),
    Op("QueryTextAlt", kLong, S, N, Text(1)),
    Op("PostText", kSmall, S),
    Op("CloseSession", kSmall, S),
    Op("Op9", kSmall, S),
    Op("Op10", kSmall, S, Small, S, IO),
    Op("AddServiceProvider", kSmall, S, S, N, Data(2), IO),
    Op("RemoveServiceProvider", kSmall, S, S, IO),
    Op("GetServiceProviderFor", kLong, S, S, N, Text(2), IO),
    Op("GetServiceProviderInfo", kLong, S, S, N, Text(2), IO),
    Op("UpdateServiceProviderInfo", kSmall, S, S, N, Data(2), IO),
    Op("AddServices", kSmall, S, S, N, Data(2), IO),
    Op("RemoveServices", kSmall, S, S, N, Data(2), IO),
    Op("GetInfo", kLong, S, S, N, Text(2), IO),
    Op("GetServiceProviders", kLong, S, N, Text(1), IO),
    Op("GetServiceProvidersWithInfo", kLong, S, N, Text(1), IO),
    Op("GetServices", kLong, S, S, N, Text(2), IO),
    Op("GetServiceInfos", kLong, S, S, N, Text(2), IO),
    Op("GetServiceInfo", kLong, S, S, S, N, Text(3), IO),
    Op("StopServer", kSmall, S, S),
    Op("OpenManagerSession", kSmall, S, IO, IO),
    Op("Op26", kSmall, IO, IO),
    Op("GetServerInfo", kLong, S, N, Text(1), IO),
    Op("CreateServiceProvider", kSmall, S, S, S, S, IO),
    Op("DeleteServiceProvider", kSmall, S, S, IO),
    Op("Op30", kSmall, S, S, IO),
    Op("StopServiceProvider", kSmall, S, S, IO),
    Op("GetServerConfigXml", kLong, S, N, Text(1), IO),
    Op("UpdateServerConfigXml", kSmall, S, S, IO),
    Op("GetServiceProviderConfigXml", kLong, S, S, N, Text(2), IO),
    Op("UpdateServiceProviderConfigXml", kSmall, S, S, S, IO),
    Op("GetServiceProvidersXml", kLong, S, N, Text(1), IO),
    Op("GetServicesXml", kLong, S, N, Text(1), IO),
    Op("UpdateServicesXml", kSmall, S, S, IO),
    Op("AddServicesForManager", kSmall, S, S, S, S, S, IO),
    Op("RemoveService", kSmall, S, S, S, IO),
    Op("StartService", kSmall, S, S, IO),
    Op("StopService", kSmall, S, S, IO),
    Op("Op43", kSmall, S, S, IO, IO),
    Op("RefreshService", kSmall, S, S, IO),
    Op("RefreshAllServices", kSmall, S, IO),
    Op("Op46", kLong, S, S, N, Text(2), IO),
    Op("Op47", kLong, S, S, N, Text(2), IO),
};
static_assert(std::size(kServerCore) == 48);

inline constexpr OperationShape kServiceProvider[] = {
    Op("Ping", kSmall),
    Op("OpenServiceSession", kSmall, S, S, IO, IO),
    Op("CloseSession", kSmall, IO, IO),
    Op("GetServiceInfo", kLong, IO, N, Text(1), IO),
    Op("GetServiceMetadata", kLong, IO, S, N, Text(2), IO),
    Op("GetClientProperties", kLong, IO, N, Text(1), IO),
    Op("GetDefinition", kLong, IO, Enum, N, Text(2), IO),
    Op("SetClientProperties", kSmall, IO, S, IO),
    Op("SetAOI", kSmall, IO, D, D, D, D, N, N, S, IO),
    Op("ExtractAOI", kSmall, IO, IO),
    Op("GetStreamingProperties", kSmall, IO, IO, IO),
    Op("StreamImageBuffer", kSmall, IO, SizePtr, Sized(1), N, N, IO),
    Op("DoneWithImage", kSmall, IO, IO),
    Op("GetImageMetadata", kLong, IO, S, N, Text(2), IO),
    Op("Op14", kSmall, IO, SizePtr, Sized(1)),
    Op("GetInfo", kLong, S, N, Text(1), IO),
    Op("GetServiceStates", kLong, N, Text(0), IO),
    Op("Synchronize", kSmall, S, IO),
    Op("UpdateServiceStates", kSmall, S, IO),
    Op("Op19", ResultKind::kNone, DoublePtr),
    Op("StopServiceProvider", kSmall, S),
    Op("QueryProviderState", kLong),
    Op("Op22", kSmall, S, N, Text(1)),
    Op("Op23", kSmall, S, S, S, S, IO),
    Op("Op24", kSmall, S, S, IO),
    Op("Op25", kSmall, S, IO),
    Op("Op26", kSmall, S, IO),
};
static_assert(std::size(kServiceProvider) == 27);

// Its shapes mirror server operations 0, 4, 8, 10 and a size-negotiated text query.
inline constexpr OperationShape kServerAutoBind[] = {
    Op("Op0", kSmall, IO),
    Op("Op1", kSmall, S, IO, IO),
    Op("Op2", kSmall, S),
    Op("Op3", kSmall, S, Small, S, IO),
    Op("Op4", kSmall, S, S, SizePtr, Sized(2), IO),
    Op("Op5", kSmall, S, S, SizePtr, Sized(2), IO),
};
static_assert(std::size(kServerAutoBind) == 6);

}  // namespace rdx::rpc::tables
