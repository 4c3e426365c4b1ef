"""A script that loads the library and calls its exported functions, as programs in other languages do: it has no
header, no macros and no variable number of arguments.

usage: script_test.py LIBRARY INCLUDE_DIR"""

import ctypes
import pathlib
import re
import select
import socket
import sys
import unittest

import stranger

LIBRARY, INCLUDE = sys.argv[1:3]

# What stands in the headers alone, or takes a variable number of arguments, and what does the same.
IN_HEADERS = {"ipc_msg_body": "ipc_msg_get_body", "ipc_msg_sender": "ipc_msg_get_sender"}
VARIADIC = {"log_print": "log_print_text", "lc_fprintf": "lc_fputs"}
FOR_COMPILERS = {"LC_PRINTF"}

OWN = "lc_socket_wm_common"  # of module 0
ERROR_LEVEL = 2
SEND_FAILED = 10


class Header(ctypes.Structure):
    _fields_ = [(name, ctypes.c_uint32) for name in ("type", "msg_id", "length", "session_id")]


class Address(ctypes.Structure):
    _fields_ = [("priority", ctypes.c_uint32), ("name", ctypes.c_char * 110), ("padding", ctypes.c_uint8 * 2)]


def load():
    library = ctypes.CDLL(LIBRARY)
    queue, message, word = ctypes.c_void_p, ctypes.POINTER(Header), ctypes.c_uint32
    for name, result, *arguments in (
            ("log_init", ctypes.c_int, ctypes.c_int32),
            ("log_print_text", None, ctypes.c_int32, ctypes.c_char_p),
            ("mem_free_ex", ctypes.c_void_p, word, word, word, ctypes.c_void_p),
            ("ipc_mq_init", None),
            ("ipc_mq_create", word, word, ctypes.POINTER(queue)),
            ("ipc_mq_get_fd", ctypes.c_int, queue),
            ("ipc_mq_recv", word, queue, ctypes.POINTER(message), ctypes.c_int32),
            ("ipc_mq_destroy", None),
            ("ipc_msg_init", word, word, queue, ctypes.c_void_p, ctypes.c_void_p, word),
            ("ipc_msg_fin", None),
            ("ipc_msg_set_send_limit", None, word),
            ("ipc_msg_get_body", ctypes.c_void_p, message),
            ("ipc_msg_get_sender", ctypes.POINTER(Address), message),
            ("ipc_msg_send_asy", word, ctypes.POINTER(Address), message, word)):
        function = getattr(library, name)
        function.restype, function.argtypes = result, arguments
    return library


class Script(unittest.TestCase):
    def setUp(self):
        self.library = load()
        self.queue = ctypes.c_void_p()
        self.library.ipc_mq_init()
        self.assertEqual(self.library.ipc_mq_create(16, ctypes.byref(self.queue)), 0)
        self.assertEqual(self.library.ipc_msg_init(0, self.queue, None, None, 0), 0)
        self.addCleanup(self.library.ipc_mq_destroy)
        self.addCleanup(self.library.ipc_msg_fin)
        self.peer = stranger.Stranger()
        self.addCleanup(self.peer.close)

    def receive(self):
        """The message that an event loop is told of."""
        fd = self.library.ipc_mq_get_fd(self.queue)
        self.assertEqual(select.select([fd], [], [], 20)[0], [fd])
        message = ctypes.POINTER(Header)()
        self.assertEqual(self.library.ipc_mq_recv(self.queue, ctypes.byref(message), 0), 0)
        self.addCleanup(self.library.mem_free_ex, 0, 0, 0, message)
        self.assertEqual(select.select([fd], [], [], 0)[0], [])
        return message

    def test_serves_a_request(self):
        for text in b"", b"x", b"what is this?":
            self.peer.send(stranger.message(stranger.REQUEST, 77, text, session=5), OWN)
            request = self.receive()
            header = request.contents
            self.assertEqual((header.type, header.msg_id, header.session_id), (stranger.REQUEST, 77, 5))
            self.assertEqual(ctypes.string_at(self.library.ipc_msg_get_body(request), header.length), text)
            header.type = stranger.RESPONSE
            sender = self.library.ipc_msg_get_sender(request)
            self.assertEqual(self.library.ipc_msg_send_asy(sender, request, header.length), 0)
            answer, by = self.peer.receive()
            self.assertEqual(stranger.parse(answer), (stranger.RESPONSE, 77, 5, text))
            self.assertEqual(by, stranger.address(OWN))

    def test_gives_up_a_peer_that_does_not_read(self):
        self.library.ipc_msg_set_send_limit(100)
        self.addCleanup(self.library.ipc_msg_set_send_limit, 0)
        self.peer.send(stranger.message(stranger.ASYNC, 77), OWN)
        message = self.receive()
        to = self.library.ipc_msg_get_sender(message)
        results = [self.library.ipc_msg_send_asy(to, message, 0) for _ in range(20)]
        self.assertEqual({*results}, {0, SEND_FAILED})
        self.assertEqual(sorted(results), results)

    def test_logs(self):
        log = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM | socket.SOCK_NONBLOCK)
        self.addCleanup(log.close)
        log.bind("/dev/log")
        self.assertEqual(self.library.log_init(3), 0)
        pathlib.Path("/tmp/.LC_DEBUG_FLAG_WanManager_ERROR").touch()
        self.library.log_print_text(ERROR_LEVEL, b"100% of %s\n")
        self.assertRegex(log.recv(1024), rb"03WanManager: 100% of %s\n\0?$")


class Headers(unittest.TestCase):
    """Whatever a header has that such a script cannot call, the library exports something for."""

    def setUp(self):
        self.text = "\n".join(header.read_text() for header in sorted(pathlib.Path(INCLUDE).glob("*.h")))
        self.text = re.sub(r"/\*.*?\*/", "", self.text, flags=re.S)

    def test_inline_functions(self):
        self.assertEqual({*re.findall(r"\binline\b[^;{]*?(\w+)\(", self.text)}, {*IN_HEADERS})

    def test_functions_with_a_variable_number_of_arguments(self):
        self.assertEqual({*re.findall(r"(\w+)\([^()]*\.\.\.\)", self.text)}, {*VARIADIC})

    def test_macros_with_arguments(self):
        self.assertEqual({*re.findall(r"#define (\w+)\(", self.text)}, FOR_COMPILERS)

    def test_are_made_up_for(self):
        library = ctypes.CDLL(LIBRARY)
        for function in {**IN_HEADERS, **VARIADIC}.values():
            self.assertTrue(hasattr(library, function), function)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
