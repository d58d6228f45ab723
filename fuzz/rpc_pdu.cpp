// Feeds a byte stream to one server connection PDU by PDU, as the listener would, and runs
// the client's answer decoders over the same PDUs. Any crash, leak or sanitizer report is
// a finding; faults and closed connections are the expected outcome of most inputs.

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "remote/runtime/Pdu.h"
#include "remote/runtime/ServerConnection.h"

namespace {

class EchoInterface : public rdx::rpc::ServerInterface {
 public:
  const rdx::rpc::SyntaxId& Syntax() const override { return syntax_; }
  std::uint32_t OperationCount() const override { return 2; }
  std::uint32_t Dispatch(std::uint16_t opnum, std::span<const std::uint8_t> request, bool,
                         std::vector<std::uint8_t>& response) override {
    if (opnum == 1) return 0x6f7;
    response.assign(request.begin(), request.end());
    return 0;
  }

 private:
  // The same interface as the seed corpus binds to.
  rdx::rpc::SyntaxId syntax_{{0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb,
                              0xcc, 0xdd, 0xee, 0xf0, 0x01},
                             1,
                             0};
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static EchoInterface echo;
  static rdx::rpc::InterfaceRegistry* registry = [] {
    auto* r = new rdx::rpc::InterfaceRegistry();
    r->Add(&echo);
    return r;
  }();
  std::span<const std::uint8_t> input(data, size);
  rdx::rpc::ServerConnection connection(*registry, "3982");
  rdx::rpc::ServerAnswer answer;
  while (input.size() >= rdx::rpc::kHeaderSize) {
    rdx::rpc::PduHeader header;
    if (!rdx::rpc::DecodeHeader(input, header)) break;
    // A short frag_length closes the connection; an unfinished PDU would wait for more.
    if (header.fragLength < rdx::rpc::kHeaderSize || header.fragLength > input.size()) break;
    const auto pdu = input.first(header.fragLength);
    input = input.subspan(header.fragLength);

    rdx::rpc::BindAckBody ack;
    rdx::rpc::FaultBody fault;
    rdx::rpc::CallBody call;
    std::uint16_t reason = 0;
    (void)rdx::rpc::DecodeBindAck(header, pdu, ack);
    (void)rdx::rpc::DecodeFault(header, pdu, fault);
    (void)rdx::rpc::DecodeCall(header, pdu, call);
    (void)rdx::rpc::DecodeBindNak(header, pdu, reason);

    connection.Handle(header, pdu, answer);
    if (answer.close) break;
  }
  return 0;
}
