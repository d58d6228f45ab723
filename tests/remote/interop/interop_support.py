"""Shared pieces of the interoperability checks: the interface identities, the stub layouts
of the operations the checks use (written with Impacket's own NDR classes, so the bytes come
from an implementation independent of ours), and a handle on a running rdx-refserver."""

import os
import random
import signal
import socket
import subprocess
import threading
import time

from impacket.dcerpc.v5.dtypes import DOUBLE, LONG, STR
from impacket.dcerpc.v5.ndr import NDRCALL, NDRSMALL, NDRUniConformantArray
from impacket.uuid import uuidtup_to_bin

SERVER_CORE = ('8a60fd6c-7ebf-4aee-839c-1df4243d03d2', '1.0')
SERVICE_PROVIDER = ('b9730071-b03f-42b3-b002-2c3996f28928', '1.0')


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


# ---- ServerCoreInterface ---------------------------------------------------------------

class GetVersion(NDRCALL):
    opnum = 0
    structure = (('version', STR),)


class GetVersionResponse(NDRCALL):
    structure = (('version', STR), ('result', NDRSMALL))


class OpenSession(NDRCALL):
    opnum = 4
    structure = (('info', STR), ('session', STR), ('error', STR))


class OpenSessionResponse(NDRCALL):
    structure = (('session', STR), ('error', STR), ('result', NDRSMALL))


class QueryText(NDRCALL):
    opnum = 5
    structure = (('query', STR), ('n', LONG))


class QueryTextResponse(NDRCALL):
    structure = (('text', BYTES), ('result', LONG))


class CloseSession(NDRCALL):
    opnum = 8
    structure = (('session', STR),)


class SmallResponse(NDRCALL):
    structure = (('result', NDRSMALL),)


class AddServiceProvider(NDRCALL):
    opnum = 11
    structure = (('session', STR), ('name', STR), ('n', LONG), ('data', BYTES), ('error', STR))



class ErrorSmallResponse(NDRCALL):
    structure = (('error', STR), ('result', NDRSMALL))


class GetServiceProviderFor(NDRCALL):
    opnum = 13
    structure = (('session', STR), ('name', STR), ('n', LONG), ('error', STR))


class TextErrorLongResponse(NDRCALL):
    structure = (('text', BYTES), ('error', STR), ('result', LONG))


# ---- ServiceProviderInterface ----------------------------------------------------------

class Ping(NDRCALL):
    opnum = 0
    structure = ()


class OpenServiceSession(NDRCALL):
    opnum = 1
    structure = (('service', STR), ('client', STR), ('session', STR), ('error', STR))


class SessionErrorSmallResponse(NDRCALL):
    structure = (('session', STR), ('error', STR), ('result', NDRSMALL))


class GetDefinition(NDRCALL):
    opnum = 6
    structure = (('session', STR), ('kind', LONG), ('n', LONG), ('error', STR))


class GetDefinitionResponse(NDRCALL):
    structure = (('session', STR), ('text', BYTES), ('error', STR), ('result', LONG))


class SetAOI(NDRCALL):
    opnum = 8
    structure = (('session', STR), ('xmin', DOUBLE), ('ymin', DOUBLE), ('xmax', DOUBLE),
                 ('ymax', DOUBLE), ('width', LONG), ('height', LONG), ('options', STR),
                 ('error', STR))


class StreamImageBuffer(NDRCALL):
    opnum = 11
    structure = (('session', STR), ('size', LONG), ('a', LONG), ('b', LONG), ('error', STR))



def iface_bin(iface):
    return uuidtup_to_bin(iface)


# ---- the reference server as a child process --------------------------------------------

def free_tcp_port():
    """A loopback port nobody listens on right now, below the kernel's ephemeral range so
    that no other test's bind(0) can take it before our server does."""
    for _ in range(100):
        port = random.randint(20000, 32000)
        with socket.socket() as probe:
            try:
                probe.bind(('127.0.0.1', port))
            except OSError:
                continue
            return port
    raise RuntimeError('no free loopback port')


class RefServer:
    """Runs rdx-refserver on a free loopback port and keeps its log lines."""

    def __init__(self, path, extra_args=(), timeout=20.0):
        self.port = free_tcp_port()
        self.lines = []
        self._lock = threading.Lock()
        self._seen = threading.Condition(self._lock)
        env = dict(os.environ)
        self.process = subprocess.Popen(
            [path, '--tcp', str(self.port), *extra_args],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, env=env)
        self._reader = threading.Thread(target=self._read_log, daemon=True)
        self._reader.start()
        if not self.wait_for_line('listening', timeout):
            self.stop()
            raise RuntimeError('rdx-refserver did not start listening:\n' + self.log())

    def _read_log(self):
        for raw in self.process.stderr:
            with self._seen:
                self.lines.append(raw.decode(errors='replace').rstrip('\n'))
                self._seen.notify_all()
        with self._seen:
            self._seen.notify_all()

    def wait_for_line(self, needle, timeout=10.0):
        deadline = time.monotonic() + timeout
        with self._seen:
            while not any(needle in line for line in self.lines):
                left = deadline - time.monotonic()
                if left <= 0 or self.process.poll() is not None and not self._reader.is_alive():
                    return any(needle in line for line in self.lines)
                self._seen.wait(min(left, 0.5))
            return True

    def log(self):
        with self._lock:
            return '\n'.join(self.lines)

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


def binding(port):
    return 'ncacn_ip_tcp:127.0.0.1[%d]' % port



def array_bytes(value):
    """The bytes of a received conformant array (Impacket hands out a list of 1-byte items)."""
    return b''.join(value) if isinstance(value, list) else bytes(value)
