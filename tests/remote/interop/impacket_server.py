"""Impacket's DCERPCServer answering our client stubs, one listener per interface.

Prints "PORTS <server-core-port> <service-provider-port>" on standard output once both
listen, then serves until standard input closes (the test that started it holds the pipe,
so the server cannot outlive it).

The answers echo what the server decoded with Impacket's NDR classes, so a test on our side
sees any byte our stubs put wrong:
  ServerCore 0 GetVersion            "1.0.0.2", 1
  ServerCore 1 Op1                   the process kills itself: a server dead mid-call
  ServerCore 5 QueryText             text "echo:" + query through the size protocol
  ServerCore 11 AddServiceProvider   error "<name> n=<n> len=<bytes> sum=<byte sum>", 1
  Provider 0 Ping                    1
  Provider 8 SetAOI                  error "<xmin> <ymin> <xmax> <ymax> <w> <h> <text>" (repr), 1
  Provider 11 StreamImageBuffer      min(*size, 1000) bytes (3i + a - b) mod 256, *size = that

Stock DCERPCServer mishandles fragmented requests (it keeps only the last fragment) and
fragmented answers (it never rewrites frag_length, and puts the opnum into cancel_count), so
this harness reassembles requests itself and only ever answers in one fragment."""

import os
import signal
import struct
import sys
import threading

from impacket.dcerpc.v5.rpcrt import (DCERPCServer, MSRPC_BIND, MSRPC_FAULT, MSRPC_REQUEST,
                                      MSRPC_RESPONSE, MSRPCRespHeader, PFC_FIRST_FRAG,
                                      PFC_LAST_FRAG, PFC_OBJECT_UUID)

import interop_support as s

NCA_S_OP_RNG_ERROR = 0x1c010002
BAD_STUB_DATA = 0x000006f7


def put_string(value, capacity):
    """An [in, out] answer never longer than what came in (the caller's buffer)."""
    raw = value.encode()[:capacity - 1]
    return raw + b'\0'


def size_protocol(answer, n):
    """(array bytes, result) of a long operation with an [out, size_is(n)] text."""
    if len(answer) > n:
        return b'\0' * n, len(answer)
    return answer + b'\0' * (n - len(answer)), 0


def ndr_string(raw):
    n = len(raw)
    return struct.pack('<LLL', n, 0, n) + raw


def pad4(data):
    return data + b'\0' * ((4 - len(data) % 4) % 4)


def core_get_version(stub):
    req = s.GetVersion(stub)
    capacity = req.fields['version']['ActualCount']
    return ndr_string(put_string('1.0.0.2', capacity)) + b'\x01'


def core_query_text(stub):
    req = s.QueryText(stub)
    data, result = size_protocol(('echo:' + s.cstr(req['query'])).encode(), req['n'])
    return pad4(struct.pack('<L', req['n']) + data) + struct.pack('<l', result)


def core_add_service_provider(stub):
    req = s.AddServiceProvider(stub)
    data = s.array_bytes(req['data'])
    summary = '%s n=%d len=%d sum=%d' % (s.cstr(req['name']), req['n'], len(data), sum(data))
    return ndr_string(put_string(summary, req.fields['error']['ActualCount'])) + b'\x01'


def core_die(stub):
    os.kill(os.getpid(), signal.SIGKILL)


def provider_ping(stub):
    return b'\x01'


def provider_set_aoi(stub):
    req = s.SetAOI(stub)
    summary = '%r %r %r %r %d %d %s' % (req['xmin'], req['ymin'], req['xmax'], req['ymax'],
                                        req['width'], req['height'], s.cstr(req['options']))
    out = pad4(ndr_string(s.cstr(req['session']).encode() + b'\0'))
    return out + ndr_string(put_string(summary, req.fields['error']['ActualCount'])) + b'\x01'


def provider_stream_image_buffer(stub):
    req = s.StreamImageBuffer(stub)
    count = max(0, min(req['size'], 1000))
    data = bytes((3 * i + req['a'] - req['b']) % 256 for i in range(count))
    out = pad4(ndr_string(s.cstr(req['session']).encode() + b'\0'))
    out = pad4(out + struct.pack('<lL', count, count) + data)
    return out + ndr_string(b'\0') + b'\x01'


class FixedServer(DCERPCServer):
    """DCERPCServer with request reassembly and well-formed single-fragment answers."""

    def __init__(self, iface, operations):
        DCERPCServer.__init__(self)
        self.daemon = True
        self._operations = operations
        self.addCallbacks(iface, '', {op: None for op in operations})
        # Listening before the port is announced: run() only listens once its thread runs,
        # and a client quicker than that thread would be refused.
        self._sock.listen(10)

    def recv(self):
        first = None
        stub = b''
        while True:
            header = self._read(16)
            if header is None:
                return None
            frag_len = struct.unpack_from('<H', header, 8)[0]
            pdu = header + (self._read(frag_len - 16) or b'')
            if pdu[2] != MSRPC_REQUEST:
                return pdu
            body = 24 + (16 if pdu[3] & PFC_OBJECT_UUID else 0)
            if first is None:
                first = pdu[:body]
            stub += pdu[body:]
            if pdu[3] & PFC_LAST_FRAG:
                return first + stub

    def _read(self, count):
        data = b''
        while len(data) < count:
            chunk = self._clientSock.recv(count - len(data))
            if not chunk:
                return None
            data += chunk
        return data

    def processRequest(self, data):
        if data[2] == MSRPC_BIND:
            return DCERPCServer.processRequest(self, data)
        if data[2] != MSRPC_REQUEST:
            return None
        call_id = struct.unpack_from('<L', data, 12)[0]
        context, opnum = struct.unpack_from('<HH', data, 20)
        stub = data[24 + (16 if data[3] & PFC_OBJECT_UUID else 0):]
        answer = MSRPCRespHeader()
        answer['flags'] = PFC_FIRST_FRAG | PFC_LAST_FRAG
        answer['call_id'] = call_id
        answer['ctx_id'] = context
        operation = self._operations.get(opnum)
        status = NCA_S_OP_RNG_ERROR
        if operation is not None:
            try:
                answer['pduData'] = operation(stub)
                answer['type'] = MSRPC_RESPONSE
                answer['alloc_hint'] = len(answer['pduData'])
                return answer
            except Exception as error:  # bad stub data as Impacket sees it
                print('op %d: %r' % (opnum, error), file=sys.stderr)
                status = BAD_STUB_DATA
        answer['type'] = MSRPC_FAULT
        answer['pduData'] = struct.pack('<LL', status, 0)
        answer['alloc_hint'] = 32
        return answer

    def send(self, data):
        self._clientSock.sendall(data.get_packet())


def main():
    core = FixedServer(s.SERVER_CORE, {0: core_get_version, 1: core_die, 5: core_query_text,
                                       11: core_add_service_provider})
    provider = FixedServer(s.SERVICE_PROVIDER, {0: provider_ping, 8: provider_set_aoi,
                                                11: provider_stream_image_buffer})
    core.start()
    provider.start()
    print('PORTS %d %d' % (core.getListenPort(), provider.getListenPort()), flush=True)
    done = threading.Event()

    def watch_stdin():
        sys.stdin.read()
        done.set()

    threading.Thread(target=watch_stdin, daemon=True).start()
    done.wait()


if __name__ == '__main__':
    main()
