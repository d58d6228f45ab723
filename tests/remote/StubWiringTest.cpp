// Every operation of the three interfaces, driven by its table row through the client engine
// and the run time into the server stub and a recording manager: each reaches its own member,
// with every argument in its place, and every answer comes back into the right memory.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <deque>
#include <string>
#include <vector>

#include "RecordingManagers.h"
#include "StubTestServer.h"
#include "remote/stubs/ClientCall.h"

namespace rdx::rpc {
namespace {

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

// Arguments for one operation, made from its shape, and what the manager should record.
struct GenericCall {
  std::vector<ClientArg> args;
  std::string expected;
  std::deque<std::string> texts;  // stable addresses for the strings and buffers
  std::array<std::int32_t, kMaxParams> sizes{};
  std::array<double, kMaxParams> reals{};

  explicit GenericCall(const OperationShape& op) {
    const auto params = op.Params();
    std::array<std::int32_t, kMaxParams> longs{};
    for (std::size_t i = 0; i < params.size(); ++i) longs[i] = 100 + std::int32_t(i);
    for (std::size_t i = 0; i < params.size(); ++i) {
      if (params[i].kind == ParamKind::kOutText) longs[std::size_t(params[i].sizeFrom)] = 8;
      if (params[i].kind == ParamKind::kInData) longs[std::size_t(params[i].sizeFrom)] = 3;
    }
    expected = std::string(op.name) + "(";
    for (std::size_t i = 0; i < params.size(); ++i) {
      const std::string index = std::to_string(i);
      std::string token;
      switch (params[i].kind) {
        case ParamKind::kInString:
          token = texts.emplace_back("s" + index);
          args.emplace_back(static_cast<const char*>(texts.back().c_str()));
          break;
        case ParamKind::kInOutString:
          token = texts.emplace_back("io" + index + "-----");
          args.emplace_back(texts.back().data());
          break;
        case ParamKind::kInLong:
          token = std::to_string(longs[i]);
          args.emplace_back(longs[i]);
          break;
        case ParamKind::kInSmall:
          token = "7";
          args.emplace_back(std::int8_t{7});
          break;
        case ParamKind::kInDouble:
          token = Number(0.5 + double(i));
          args.emplace_back(0.5 + double(i));
          break;
        case ParamKind::kInEnum:
          token = "2";
          args.emplace_back(std::int32_t{2});
          break;
        case ParamKind::kInData:  // "dN" and its NUL: 3 bytes, as the size says
          token = texts.emplace_back("d" + std::to_string(i % 10));
          args.emplace_back(static_cast<const char*>(texts.back().c_str()));
          break;
        case ParamKind::kOutText:
        case ParamKind::kOutSized:
          token = "out";
          args.emplace_back(texts.emplace_back(8, '?').data());
          break;
        case ParamKind::kInOutSize:
          sizes[i] = 6;
          token = "6";
          args.emplace_back(&sizes[i]);
          break;
        case ParamKind::kInOutDouble:
          reals[i] = 1.5;
          token = "1.5";
          args.emplace_back(&reals[i]);
          break;
      }
      expected += (i > 0 ? "," : "") + token;
    }
    expected += ")";
  }
};

TEST(InterfaceStubs, EveryOperationReachesItsMemberWithArgumentsInOrder) {
  test::RecordingServerCoreManager core;
  test::RecordingServiceProviderManager provider;
  test::RecordingServerAutoBindManager autoBind;
  test::StubTestServer server(&core, &provider, &autoBind);
  const struct {
    const InterfaceShape& shape;
    test::Recorder& recorder;
  } interfaces[] = {{ServerCoreShape(), core},
                    {ServiceProviderShape(), provider},
                    {ServerAutoBindShape(), autoBind}};

  for (const auto& interface : interfaces) {
    for (std::size_t opnum = 0; opnum < interface.shape.operations.size(); ++opnum) {
      const OperationShape& op = interface.shape.operations[opnum];
      SCOPED_TRACE(std::string(interface.shape.name) + "." + std::string(op.name));
      GenericCall call(op);
      interface.recorder.record.clear();
      std::int32_t result = -1;
      ASSERT_NO_THROW(result = CallOperation(server.Binding(), interface.shape,
                                             std::uint16_t(opnum), call.args));
      EXPECT_EQ(interface.recorder.record, call.expected);
      EXPECT_EQ(result, op.result == ResultKind::kSmall  ? 1
                        : op.result == ResultKind::kLong ? 7
                                                         : 0);
      const auto params = op.Params();
      for (std::size_t i = 0; i < params.size(); ++i) {
        SCOPED_TRACE("parameter " + std::to_string(i));
        switch (params[i].kind) {
          case ParamKind::kInOutString:
            EXPECT_STREQ(std::get<char*>(call.args[i]), ("r" + std::to_string(i)).c_str());
            break;
          case ParamKind::kOutText:  // all n bytes come back: the mark, then zeros
            EXPECT_EQ(std::string(std::get<char*>(call.args[i]), 8),
                      std::string("T\0\0\0\0\0\0\0", 8));
            break;
          case ParamKind::kOutSized:  // five of the six bytes offered come back
            EXPECT_EQ(std::string(std::get<char*>(call.args[i]), 8),
                      std::string("T\0\0\0\0???", 8));
            break;
          case ParamKind::kInOutSize:
            EXPECT_EQ(call.sizes[i], 5);
            break;
          case ParamKind::kInOutDouble:
            EXPECT_EQ(call.reals[i], 3.0);
            break;
          default:
            break;
        }
      }
    }
  }
}

}  // namespace
}  // namespace rdx::rpc
