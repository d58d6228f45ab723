#include "StubTestSupport.h"

#include <cstdio>
#include <sstream>

namespace rdx::rpc::test {

using rpc::ParamKind;

std::vector<std::uint8_t> Hex(const std::string& listing) {
  std::istringstream in(listing);
  std::vector<std::uint8_t> bytes;
  std::string word;
  while (in >> word) bytes.push_back(static_cast<std::uint8_t>(std::stoul(word, nullptr, 16)));
  return bytes;
}

std::string ToHex(const std::vector<std::uint8_t>& bytes) {
  std::string text;
  char cell[4];
  for (std::uint8_t byte : bytes) {
    std::snprintf(cell, sizeof cell, "%02x ", byte);
    text += cell;
  }
  return text;
}

namespace {

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%g", value);
  return text;
}

}  // namespace

ClientArgs::ClientArgs(const rpc::OperationShape& operation, const std::vector<std::string>& values)
    : op(operation) {
  const auto params = op.Params();
  auto sizeOf = [&](std::size_t i) {
    return std::stoi(values.at(static_cast<std::size_t>(params[i].sizeFrom)));
  };
  for (std::size_t i = 0; i < params.size(); ++i) {
    switch (params[i].kind) {
      case ParamKind::kInString:
      case ParamKind::kInData:
        args.emplace_back(static_cast<const char*>(buffers.emplace_back(values.at(i)).c_str()));
        break;
      case ParamKind::kInOutString:
        args.emplace_back(buffers.emplace_back(values.at(i)).data());
        break;
      case ParamKind::kInLong:
      case ParamKind::kInEnum: args.emplace_back(std::int32_t(std::stoi(values.at(i)))); break;
      case ParamKind::kInSmall: args.emplace_back(std::int8_t(std::stoi(values.at(i)))); break;
      case ParamKind::kInDouble: args.emplace_back(std::stod(values.at(i))); break;
      case ParamKind::kOutText:
      case ParamKind::kOutSized:
        args.emplace_back(buffers.emplace_back(std::size_t(sizeOf(i)), '?').data());
        break;
      case ParamKind::kInOutSize:
        sizes[i] = std::stoi(values.at(i));
        args.emplace_back(&sizes[i]);
        break;
      case ParamKind::kInOutDouble:
        reals[i] = std::stod(values.at(i));
        args.emplace_back(&reals[i]);
        break;
    }
  }
}

std::string ClientArgs::Describe(std::int32_t result) const {
  std::string text;
  const auto params = op.Params();
  for (std::size_t i = 0; i < params.size(); ++i) {
    switch (params[i].kind) {
      case ParamKind::kInOutString:
      case ParamKind::kOutText:
      case ParamKind::kOutSized:
        text += std::get<char*>(args[i]);  // up to the first NUL
        break;
      case ParamKind::kInOutSize: text += std::to_string(sizes[i]); break;
      case ParamKind::kInOutDouble: text += Number(reals[i]); break;
      default: continue;
    }
    text += "|";
  }
  return text + std::to_string(result);
}

std::string DescribeServerCall(const rpc::OperationShape& op, rpc::ServerCall& call) {
  std::string text;
  const auto params = op.Params();
  for (std::size_t i = 0; i < params.size(); ++i) {
    std::string value;
    switch (params[i].kind) {
      case ParamKind::kInString: value = call.In(i); break;
      case ParamKind::kInOutString: value = call.InOut(i); break;
      case ParamKind::kInLong: value = std::to_string(call.Long(i)); break;
      case ParamKind::kInSmall: value = std::to_string(call.Small(i)); break;
      case ParamKind::kInDouble: value = Number(call.Real(i)); break;
      case ParamKind::kInEnum: value = std::to_string(call.Enum(i)); break;
      case ParamKind::kInData: value = call.Data(i); break;
      case ParamKind::kInOutSize: value = std::to_string(call.Size(i)); break;
      case ParamKind::kInOutDouble: value = Number(call.RealRef(i)); break;
      case ParamKind::kOutText:
      case ParamKind::kOutSized: continue;
    }
    text += (i > 0 ? "," : "") + value;
  }
  return text;
}

}  // namespace rdx::rpc::test
