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

    import interop_support as s
except ImportError as missing:  # python3-impacket not installed: nothing to compare with
    print('SKIP: %s' % missing, file=sys.stderr)
    sys.exit(77)

TEXT_SIZE = 5000
REFSERVER = None


class RefServerFromImpacket(unittest.TestCase):
    server = None

    @classmethod
    def setUpClass(cls):
        cls.server = s.RefServer(REFSERVER, ['--text-size', str(TEXT_SIZE)])

    @classmethod
    def tearDownClass(cls):
        if cls.server is None:
            return
        # It logged the calls it served (its log writer hands lines out a few ms late) and
        # stops cleanly on SIGTERM.
        assert cls.server.wait_for_line('ServerCoreInterface.GetVersion', 10), cls.server.log()
        assert cls.server.stop() == 0, cls.server.log()

    def connect(self, iface):
        rpc = transport.DCERPCTransportFactory('ncacn_ip_tcp:127.0.0.1[%d]' % self.server.port)
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

    def open_session(self, dce, request, response_class, **fields):
        for name, value in fields.items():
            request[name] = s.text(value)
        request['session'] = s.text(None, 100)
        request['error'] = s.text(None, 100)
        resp = self.call(dce, request, response_class)
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
        text = (b'QueryText' + b'.' * TEXT_SIZE)[:TEXT_SIZE]
        for n, want_result, want_text in ((4000, TEXT_SIZE, b'\0' * 4000),
                                          (TEXT_SIZE, 0, text),
                                          (TEXT_SIZE + 7, 0, text + b'\0' * 7)):
            with self.subTest(n=n):
                req = s.QueryText()
                req['query'] = s.text('anything')
                req['n'] = n
                resp = self.call(dce, req, s.QueryTextResponse)
                self.assertEqual(resp['result'], want_result)
                self.assertEqual(s.array_bytes(resp['text']), want_text)

    def test_request_of_many_fragments(self):
        """Impacket cuts a long request into fragments its own way; the server reassembles."""
        dce = self.connect(s.SERVER_CORE)
        session = self.open_session(dce, s.OpenSession(), s.OpenSessionResponse,
                                    info='<SessionInfo/>')
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
                if not want:  # an unknown session: a status XML text naming it
                    root = ElementTree.fromstring(s.cstr(resp['error']))
                    self.assertIn('S0', root.find('Item').findtext('Message'))

    def test_stream_image_buffer_of_several_megabytes(self):
        dce = self.connect(s.SERVICE_PROVIDER)
        session = self.open_session(dce, s.OpenServiceSession(), s.SessionErrorSmallResponse,
                                    service='Imagery', client='impacket')
        for size, a, b in ((4 * 1024 * 1024 + 3, 7, 300), (0, 1, 2), (1, -5, 4)):
            with self.subTest(size=size):
                req = s.StreamImageBuffer()
                req['session'] = s.text(session)
                req['size'] = size
                req['a'] = a
                req['b'] = b
                req['error'] = s.text(None, 4000)
                dce.call(req.opnum, req)
                resp = self.parse_stream_answer(dce.recv())
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
        session = self.open_session(dce, s.OpenServiceSession(), s.SessionErrorSmallResponse,
                                    service='Imagery', client='impacket')
        rows = (((0.5, 1.0, 2.0, 3.25), 1),
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
                    root = ElementTree.fromstring(s.cstr(resp['error']))
                    self.assertIn('SetAOI', root.find('Item').findtext('Source'))


if __name__ == '__main__':
    if len(sys.argv) < 2:
        print(__doc__, file=sys.stderr)
        sys.exit(2)
    REFSERVER = sys.argv[1]
    unittest.main(argv=[sys.argv[0]] + sys.argv[2:], verbosity=2)
