"""Shared pieces of the interoperability checks: the interface identities, the stub layouts
of the operations the checks use (written with Impacket's own NDR classes, so the bytes come
from an implementation independent of ours), and a handle on a running rdx-refserver."""

import random
import signal
import subprocess
import threading

from impacket.dcerpc.v5.dtypes import DOUBLE, LONG, STR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRSMALL, NDRUniConformantArray
from impacket.uuid import uuidtup_to_bin

SERVER_CORE = ('8a60fd6c-7ebf-4aee-839c-1df4243d03d2', '1.0')
SERVICE_PROVIDER = ('b9730071-b03f-42b3-b002-2c3996f28928', '1.0')


def iface_bin(iface):
    return uuidtup_to_bin(iface)


class BYTES(NDRUniConformantArray):
    """[size_is(n)] char* / byte*: max_count, then the bytes."""
    item = 'c'


def text(value, capacity=None):
    """An [in] or [in, out] string as our proxies pass it: the text, NUL-terminated; with a
    capacity, filled with 'A' up to the last byte so the answer has room."""
    if capacity is not None:
        return b'A' * (capacity - 1) + b'\0'
    return value.encode() + b'\0'


def cstr(raw):
    """The text of a received [string] char*, up to its first NUL."""
    if not isinstance(raw, (str, bytes)):
        raw = raw['Data']
    if isinstance(raw, str):
        raw = raw.encode()
    return raw.split(b'\0', 1)[0].decode()


def array_bytes(value):
    """The bytes of a received conformant array (Impacket hands out a list of 1-byte items)."""
    return b''.join(value) if isinstance(value, list) else bytes(value)


def call(name, opnum, *fields):
    return type(name, (NDRCALL,), {'opnum': opnum, 'structure': fields})


# ServerCoreInterface
GetVersion = call('GetVersion', 0, ('version', STR))
GetVersionResponse = call('GetVersionResponse', None, ('version', STR), ('result', NDRSMALL))
OpenSession = call('OpenSession', 4, ('info', STR), ('session', STR), ('error', STR))
OpenSessionResponse = call('OpenSessionResponse', None, ('session', STR), ('error', STR),
                           ('result', NDRSMALL))
QueryText = call('QueryText', 5, ('query', STR), ('n', LONG))
QueryTextResponse = call('QueryTextResponse', None, ('text', BYTES), ('result', LONG))
AddServiceProvider = call('AddServiceProvider', 11, ('session', STR), ('name', STR),
                          ('n', LONG), ('data', BYTES), ('error', STR))
ErrorSmallResponse = call('ErrorSmallResponse', None, ('error', STR), ('result', NDRSMALL))

# ServiceProviderInterface
OpenServiceSession = call('OpenServiceSession', 1, ('service', STR), ('client', STR),
                          ('session', STR), ('error', STR))
SessionErrorSmallResponse = call('SessionErrorSmallResponse', None, ('session', STR),
                                 ('error', STR), ('result', NDRSMALL))
SetAOI = call('SetAOI', 8, ('session', STR), ('xmin', DOUBLE), ('ymin', DOUBLE),
              ('xmax', DOUBLE), ('ymax', DOUBLE), ('width', LONG), ('height', LONG),
              ('options', STR), ('error', STR))
StreamImageBuffer = call('StreamImageBuffer', 11, ('session', STR), ('size', LONG), ('a', LONG),
                         ('b', LONG), ('error', STR))


class RefServer:
    """rdx-refserver on a free loopback port, its log lines kept."""

    def __init__(self, path, extra_args=(), timeout=20.0):
        self._seen = threading.Condition()
        # Below the kernel's ephemeral range, so no other test's bind(0) takes it first; a
        # port taken anyway makes the server exit, and the next one is tried.
        for _ in range(20):
            self.lines = []
            self.port = random.randint(20000, 32000)
            self.process = subprocess.Popen([path, '--tcp', str(self.port), *extra_args],
                                            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                                            stderr=subprocess.PIPE)
            self._reader = threading.Thread(target=self._read_log, daemon=True)
            self._reader.start()
            if self.wait_for_line('listening', timeout):
                return
            self.stop()
        raise RuntimeError('rdx-refserver did not start listening:\n' + self.log())

    def _read_log(self):
        for raw in self.process.stderr:
            with self._seen:
                self.lines.append(raw.decode(errors='replace').rstrip('\n'))
                self._seen.notify_all()
        with self._seen:
            self.lines.append(None)  # the log ended
            self._seen.notify_all()

    def wait_for_line(self, needle, timeout):
        with self._seen:
            return self._seen.wait_for(
                lambda: None in self.lines or any(needle in line for line in self.lines),
                timeout) and any(line is not None and needle in line for line in self.lines)

    def log(self):
        with self._seen:
            return '\n'.join(line for line in self.lines if line is not None)

    def stop(self, timeout=15.0):
        """SIGTERM, then the exit code (None when it had to be killed)."""
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(timeout)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
                return None
        self._reader.join(5)
        self.process.stderr.close()
        return self.process.returncode
