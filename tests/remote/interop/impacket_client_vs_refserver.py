"""Impacket's DCE/RPC client, an implementation independent of ours, against rdx-refserver.

Usage: impacket_client_vs_refserver.py PATH-TO-rdx-refserver
The server runs with --text-size 5000, so a text answer does not fit the proxies' first
4000-byte buffer and needs the second call of the size protocol."""

import struct
import sys
import unittest
import xml.etree.ElementTree as ElementTree

try:
    from impacket.dcerpc.v5 import transport
    from impacket.dcerpc.v5.rpcrt import DCERPCException, DCERPC_RawCall

    import interop_support as s
except ImportError as missing:  # python3-impacket not installed: nothing to compare with
    print('SKIP: %s' % missing, file=sys.stderr)
    sys.exit(77)

TEXT_SIZE = 5000
REFSERVER = None


def expected_text(name, size=TEXT_SIZE):
    return (name.encode() + b'.' * size)[:size]


def status_items(xml_text):
    """The (ID, Source, Message) of each Item of a status XML text; fails on bad XML."""
    root = ElementTree.fromstring(xml_text)
    assert root.tag == 'Status', root.tag
    return [(item.findtext('ID'), item.findtext('Source'), item.findtext('Message'))
            for item in root.findall('Item')]


class RefServerFromImpacket(unittest.TestCase):
    server = None

    @classmethod
    def setUpClass(cls):
        cls.server = s.RefServer(REFSERVER, ['--text-size', str(TEXT_SIZE)])

    @classmethod
    def tearDownClass(cls):
        if cls.server is not None:
            cls.server.stop()

    def connect(self, iface):
        rpc = transport.DCERPCTransportFactory(s.binding(self.server.port))
        rpc.set_connect_timeout(10)
        dce = rpc.get_dce_rpc()
        dce.connect()
        dce.get_rpc_transport().get_socket().settimeout(60)
        self.addCleanup(dce.disconnect)
        dce.bind(s.iface_bin(iface))
        return dce

    def call(self, dce, request, response_class):
        dce.call(request.opnum, request)
        return response_class(dce.recv())

    def open_provider_session(self, dce):
        req = s.OpenServiceSession()
        req['service'] = s.text('Imagery')
        req['client'] = s.text('impacket')
        req['session'] = s.text(None, 1000)
        req['error'] = s.text(None, 1000)
        resp = self.call(dce, req, s.SessionErrorSmallResponse)
        self.assertEqual(resp['result'], 1)
        session = s.cstr(resp['session'])
        self.assertRegex(session, r'^S[1-9][0-9]*$')
        return session

    def test_get_version_answers_fixed_version(self):
        dce = self.connect(s.SERVER_CORE)
        req = s.GetVersion()
        req['version'] = s.text(None, 100)
        resp = self.call(dce, req, s.GetVersionResponse)
        self.assertEqual(resp['result'], 1)
        self.assertEqual(s.cstr(resp['version']), '1.0.0.2')
        # The answer travels with its own length, never more than the caller sent.
        self.assertEqual(resp.fields['version']['ActualCount'], 8)

    def test_text_larger_than_first_buffer_needs_second_call(self):
        dce = self.connect(s.SERVER_CORE)
        for n, want_result, want_text in ((4000, TEXT_SIZE, b'\0' * 4000),
                                          (TEXT_SIZE, 0, expected_text('QueryText')),
                                          (TEXT_SIZE + 7, 0, expected_text('QueryText') + b'\0' * 7)):
            with self.subTest(n=n):
                req = s.QueryText()
                req['query'] = s.text('anything')
                req['n'] = n
                resp = self.call(dce, req, s.QueryTextResponse)
                self.assertEqual(resp['result'], want_result)
                self.assertEqual(s.array_bytes(resp['text']), want_text)

    def test_session_ids_and_unknown_session(self):
        dce = self.connect(s.SERVER_CORE)
        req = s.OpenSession()
        req['info'] = s.text('<SessionInfo/>')
        req['session'] = s.text(None, 1000)
        req['error'] = s.text(None, 1000)
        resp = self.call(dce, req, s.OpenSessionResponse)
        self.assertEqual(resp['result'], 1)
        session = s.cstr(resp['session'])
        self.assertRegex(session, r'^S[1-9][0-9]*$')

        for sid, known in ((session, True), ('S999999', False), ('', False)):
            with self.subTest(session=sid):
                req = s.GetServiceProviderFor()
                req['session'] = s.text(sid)
                req['name'] = s.text('Imagery')
                req['n'] = TEXT_SIZE
                req['error'] = s.text(None, 4000)
                resp = self.call(dce, req, s.TextErrorLongResponse)
                if known:
                    self.assertEqual(resp['result'], 0)
                    self.assertEqual(s.array_bytes(resp['text']), expected_text('GetServiceProviderFor'))
                else:
                    self.assertLess(resp['result'], 0)
                    items = status_items(s.cstr(resp['error']))
                    self.assertEqual(len(items), 1)
                    self.assertNotIn(items[0][0], (None, '', '000000'))
                    self.assertIn(sid if sid else 'session', items[0][2])

        for expect in (1, 0):  # a closed session is unknown afterwards
            req = s.CloseSession()
            req['session'] = s.text(session)
            self.assertEqual(self.call(dce, req, s.SmallResponse)['result'], expect)

    def test_request_of_many_fragments(self):
        """Impacket cuts a long request into fragments its own way; the server reassembles."""
        dce = self.connect(s.SERVER_CORE)
        req = s.OpenSession()
        req['info'] = s.text('<SessionInfo/>')
        req['session'] = s.text(None, 100)
        req['error'] = s.text(None, 100)
        session = s.cstr(self.call(dce, req, s.OpenSessionResponse)['session'])
        for sid, want in ((session, 1), ('S0', 0)):
            with self.subTest(session=sid):
                req = s.AddServiceProvider()
                req['session'] = s.text(sid)
                req['name'] = s.text('prov')
                req['n'] = 100000
                req['data'] = b'i' * 99999 + b'\0'
                req['error'] = s.text(None, 4000)
                resp = self.call(dce, req, s.ErrorSmallResponse)
                self.assertEqual(resp['result'], want)
                self.assertEqual(s.cstr(resp['error']) == '', bool(want))

    def test_stream_image_buffer_of_several_megabytes(self):
        dce = self.connect(s.SERVICE_PROVIDER)
        session = self.open_provider_session(dce)
        for size, a, b in ((4 * 1024 * 1024 + 3, 7, 300), (0, 1, 2), (1, -5, 4)):
            with self.subTest(size=size):
                req = s.StreamImageBuffer()
                req['session'] = s.text(session)
                req['size'] = size
                req['a'] = a
                req['b'] = b
                req['error'] = s.text(None, 4000)
                dce.call(req.opnum, req)
                raw = dce.recv()
                resp = self.parse_stream_answer(raw)
                self.assertEqual(resp['result'], 1)
                self.assertEqual(resp['session'], session)
                self.assertEqual(resp['size'], size)
                want = bytes((i + a + b) % 256 for i in range(256)) * (size // 256 + 1)
                self.assertEqual(resp['buffer'], want[:size])

    def parse_stream_answer(self, raw):
        """Impacket's NDR classes unpack arrays item by item, far too slowly for megabytes:
        decode the session string with them and the big array by its NDR layout."""
        session = s.STR(raw)
        offset = 12 + session['ActualCount']
        offset += (4 - offset % 4) % 4
        size, max_count = struct.unpack_from('<lL', raw, offset)
        self.assertEqual(max_count, size)
        offset += 8
        buffer = raw[offset:offset + max_count]
        offset += max_count
        offset += (4 - offset % 4) % 4
        error = s.STR(raw[offset:])
        offset += 12 + error['ActualCount']
        return {'session': s.cstr(session), 'size': size, 'buffer': buffer,
                'result': raw[offset]}

    def test_set_aoi_doubles(self):
        dce = self.connect(s.SERVICE_PROVIDER)
        session = self.open_provider_session(dce)
        rows = (((0.5, 1.0, 2.0, 3.25), 1),
                ((-1.5, -2.25, -1.25, 0.0), 1),
                ((2.0, 0.0, 0.5, 1.0), 0),    # xmin > xmax
                ((0.0, 1.0, 1.0, 1.0), 0),    # ymin == ymax: empty area
                ((1e300, 0.0, 1e301, 1e-300), 1))
        for (xmin, ymin, xmax, ymax), want in rows:
            with self.subTest(aoi=(xmin, ymin, xmax, ymax)):
                req = s.SetAOI()
                req['session'] = s.text(session)
                req['xmin'], req['ymin'], req['xmax'], req['ymax'] = xmin, ymin, xmax, ymax
                req['width'], req['height'] = 640, 480
                req['options'] = s.text('x')
                req['error'] = s.text(None, 4000)
                resp = self.call(dce, req, s.SessionErrorSmallResponse)
                self.assertEqual(resp['result'], want)
                self.assertEqual(s.cstr(resp['session']), session)
                if not want:
                    items = status_items(s.cstr(resp['error']))
                    self.assertEqual(len(items), 1)
                    self.assertIn('SetAOI', items[0][1])

    def test_v1_enum_and_text_that_fits(self):
        dce = self.connect(s.SERVICE_PROVIDER)
        session = self.open_provider_session(dce)
        req = s.GetDefinition()
        req['session'] = s.text(session)
        req['kind'] = 2
        req['n'] = 6000
        req['error'] = s.text(None, 4000)
        dce.call(req.opnum, req)
        raw = dce.recv()
        resp = s.GetDefinitionResponse(raw)
        self.assertEqual(resp['result'], 0)
        self.assertEqual(s.array_bytes(resp['text']), expected_text('GetDefinition') + b'\0' * 1000)

    def test_failures_are_faults_and_connection_survives(self):
        dce = self.connect(s.SERVER_CORE)
        bad_string = struct.pack('<LLL', 0xFFFFFFFF, 0, 4) + b'AAA\0'
        rows = ((48, b'', 'nca_s_op_rng_error'),
                (0xFFFF, b'', 'nca_s_op_rng_error'),
                (0, bad_string, 'rpc_x_bad_stub_data'),
                (0, b'\x08\x00', 'rpc_x_bad_stub_data'))
        for opnum, stub, needle in rows:
            with self.subTest(opnum=opnum, stub=stub.hex()):
                dce.send(DCERPC_RawCall(opnum, stub))
                with self.assertRaises(DCERPCException) as caught:
                    dce.recv()
                self.assertIn(needle, str(caught.exception))
        req = s.GetVersion()
        req['version'] = s.text(None, 100)
        self.assertEqual(s.cstr(self.call(dce, req, s.GetVersionResponse)['version']), '1.0.0.2')

    def test_bind_refusals(self):
        ndr64 = ('71710533-beba-4937-8319-b5dbef9ccc36', '1.0')
        rows = ((('12345678-1234-1234-1234-123456789abc', '1.0'), None,
                 'abstract_syntax_not_supported'),
                (('8a60fd6c-7ebf-4aee-839c-1df4243d03d2', '2.0'), None,
                 'abstract_syntax_not_supported'),  # another major version
                (s.SERVER_CORE, ndr64, 'proposed_transfer_syntaxes_not_supported'))
        for iface, syntax, needle in rows:
            with self.subTest(iface=iface, syntax=syntax):
                rpc = transport.DCERPCTransportFactory(s.binding(self.server.port))
                dce = rpc.get_dce_rpc()
                dce.connect()
                self.addCleanup(dce.disconnect)
                with self.assertRaises(DCERPCException) as caught:
                    if syntax:
                        dce.bind(s.iface_bin(iface), transfer_syntax=syntax)
                    else:
                        dce.bind(s.iface_bin(iface))
                self.assertIn(needle, str(caught.exception))


class RefServerLifecycle(unittest.TestCase):
    def test_logs_calls_and_stops_on_sigterm(self):
        server = s.RefServer(REFSERVER)
        try:
            rpc = transport.DCERPCTransportFactory(s.binding(server.port))
            dce = rpc.get_dce_rpc()
            dce.connect()
            dce.bind(s.iface_bin(s.SERVICE_PROVIDER))
            dce.call(0, b'')
            self.assertEqual(s.SmallResponse(dce.recv())['result'], 1)
            dce.disconnect()
            self.assertTrue(server.wait_for_line('Ping'), server.log())
        finally:
            code = server.stop()
        self.assertEqual(code, 0, server.log())


if __name__ == '__main__':
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    REFSERVER = sys.argv[1]
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:], verbosity=2)
