"""The Python binding beside wansim, in the sandbox. pytest runs it; the environment names what is tested:
LTEROUTER_LIBRARY, LTEROUTER_WANSIM, and the package by PYTHONPATH."""

import asyncio
import contextlib
import ctypes
import os
import pathlib
import pickle
import re
import select
import signal
import subprocess
import sys

import pytest

import lterouter
from lterouter import _declared
from lterouter.constants import MessagingCode, ParameterCode, TimerCode
from lterouter.messaging import MAX_BODY
from lterouter.stream import Stream

PROJECT = pathlib.Path(__file__).resolve().parents[2]
EXAMPLES = PROJECT / "bindings" / "python" / "examples"
PING = 0x20000001


@contextlib.contextmanager
def running(*command, ready):
    """A program that goes on beside the test, once it has said this."""
    with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
        try:
            assert ready in process.stdout.readline()
            yield process
        finally:
            process.terminate()


@pytest.fixture
def wansim():
    with running(os.environ["LTEROUTER_WANSIM"], ready="lc_socket_mm_common") as process:
        yield process


def example(name):
    done = subprocess.run([sys.executable, EXAMPLES / f"{name}.py"], capture_output=True, text=True, timeout=60)
    return done.returncode, done.stdout, done.stderr


# ---- Examples ----

def test_status_shows_what_the_manager_keeps_and_answers(wansim):
    assert example("status") == (0, "signal 18\nSIM sim_ready\nroaming off\nIMSI 001010123456789\n", "")


def test_status_says_what_fails_without_a_manager():
    code, out, error = example("status")
    assert (code, error) == (1, "status: lte.signal_level: failed\n")


def test_wait_for_link_ends_when_it_is_up(wansim):
    assert example("wait_for_link") == (0, "wwan0 has 10.64.0.2\n", "")


def test_follow_shows_each_change(wansim):
    with running(sys.executable, EXAMPLES / "follow.py", ready="waiting") as follower:
        with lterouter.Client(events=False) as client:
            client.connect()
        shown = [follower.stdout.readline() for _ in range(3)]
    assert shown == ["interface ready\n", "link WM_CONNECTING \n", "link CONN_CONNECTED 10.64.0.2\n"]


def test_parameter_shows_value_and_error():
    code = int(ParameterCode.ERR_NAME)
    told = f"ram.read: bad name, or no such parameter (code {code})"
    assert example("parameter") == (0, f"operator: Testnet\n{told}\n", "")


def test_the_first_program_of_the_document_shows_events(wansim):
    document = (PROJECT / "docs" / "bindings.md").read_text()
    program = re.search(r"```python\n(.*?)```", document, re.S)[1].replace("timeout=10", "timeout=1")
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stderr) == (0, "")
    assert re.findall(r"link_status=<LinkState\.(\w+)", done.stdout) == ["CONNECTING", "CONNECTED"]


# ---- Values ----

def test_records_have_the_layout_that_is_recorded_for_c():
    recorded = dict(re.findall(r"<class-decl name='(\w+)' size-in-bits='(\d+)'[^>]*is-struct='yes'",
                               (PROJECT / "lib/abi/native.abi").read_text()))
    sizes = {name: ctypes.sizeof(record) * 8 for name, record in vars(_declared).items()
             if isinstance(record, type) and issubclass(record, ctypes.Structure) and name in recorded}
    assert len(sizes) > 10
    assert sizes == {name: int(recorded[name]) for name in sizes}


def test_parameters_keep_bytes_that_are_no_utf_8():
    lterouter.ram.open()
    value = os.fsdecode(b"caf\xe9 \xc3\xa9")
    lterouter.ram.write("menu", value)
    assert lterouter.ram.read("menu") == value
    assert lterouter.ram.match("menu", value)
    assert not lterouter.ram.match("menu", "tea")


def test_texts_are_utf_8_in_any_locale():
    program = "import lterouter.log; print(len(lterouter._library.encoded('\\xe9')))"
    done = subprocess.run([sys.executable, "-X", "utf8=0", "-c", program], capture_output=True, text=True, timeout=60,
                          env={**os.environ, "LC_ALL": "C", "PYTHONCOERCECLOCALE": "0"})
    assert (done.returncode, done.stdout) == (0, "2\n"), done.stderr


def test_what_does_not_fit_c_is_refused():
    with pytest.raises(ValueError, match="NUL"):
        lterouter.ram.read("a\0b")
    with pytest.raises(OverflowError):
        lterouter.names.link(-1)
    with pytest.raises(OverflowError):
        lterouter.network.add_route("lo", 1 << 31)


def test_a_text_is_refused_where_bytes_are_needed():
    with pytest.raises(TypeError, match="bytes"):
        lterouter.nvm.checksum(0, "abc")
    with pytest.raises(TypeError, match="bytes"):
        lterouter.network.probe("127.0.0.1", "127.0.0.1", "abcdef", bytes(6), "lo", 0.1)
    with lterouter.Endpoint(lterouter.Module.UPTEST) as endpoint:
        with pytest.raises(TypeError, match="bytes"):
            endpoint.send(lterouter.Address.of_module(lterouter.Module.UPTEST), PING, "abc")


def test_a_failure_is_an_exception_of_its_family():
    with pytest.raises(lterouter.ParameterError) as bad:
        lterouter.nvm.look_up("/nowhere", "name", False)
    assert (bad.value.code, str(bad.value)) == (ParameterCode.ERR_FILE,
                                                "nvm.look_up: bad or unreadable file or checksum")
    with pytest.raises(lterouter.NetworkError) as bad:
        lterouter.network.add_route("lo", 0, "no address")
    assert (bad.value.code, str(bad.value)) == (22, "network.add_route: Invalid argument")
    with pytest.raises(lterouter.NetworkError):
        lterouter.network.add_default_routes("lo", "")
    with pytest.raises(lterouter.LogError):
        lterouter.log.find_module(99)
    assert issubclass(lterouter.LogError, lterouter.Error)


def test_records_are_dataclasses():
    assert lterouter.log.find_module(3) == lterouter.LogModule(id=3, letter=lterouter.log.find_module(3).letter,
                                                               name="WanManager")
    assert lterouter.lte.statistics("lo").rx_packets >= 0
    point = lterouter.lte.parse_apn_list("a&1&b&c&d&internet&1&e&2&3>")
    assert (point.apn, point.text1, point.enabled, point.number2) == ("internet", "a", 1, 2)


def test_the_checksum_goes_on_where_it_ended():
    whole = lterouter.nvm.checksum(0, b"123456789")
    assert whole == lterouter.nvm.checksum(lterouter.nvm.checksum(0, b"1234"), b"56789")
    assert whole == 0x2DFD2D88


def test_an_address_that_is_none_is_refused():
    for text in ("127.1", "127.0.0.1 x", "somewhere"):
        with pytest.raises(ValueError, match="no IPv4 address"):
            lterouter.network.probe(text, "127.0.0.1", bytes(6), bytes(6), "lo", 0.1)


def test_an_error_can_be_passed_to_another_process():
    with pytest.raises(lterouter.NetworkError) as bad:
        lterouter.network.add_route("lo", 0, "no address")
    passed = pickle.loads(pickle.dumps(bad.value))
    assert (type(passed), str(passed), passed.code) == (lterouter.NetworkError, str(bad.value), 22)


# ---- The client ----

def test_requests_have_values_and_results(wansim):
    with lterouter.Client(events=False) as client:
        client.set_roaming(1)
        assert client.get_roaming() == 1
        assert client.request(lterouter.Module.MM, lterouter.Request.WM_MSG_ROAM_SWITCH_GET_REQ, b"", 3) == \
            (0).to_bytes(4, sys.byteorder) + (1).to_bytes(4, sys.byteorder)
        assert "+CSQ: 18" in client.at("AT+CSQ")
        assert [operator.name for operator in client.search_operators()] != []
        with pytest.raises(lterouter.RequestError):
            client.enable_pin("9999")
        with pytest.raises(ValueError):
            client.enable_pin("1" * 16)


def test_a_client_without_events_has_none(wansim):
    with lterouter.Client(events=False) as client:
        with pytest.raises(ValueError, match="1008"):
            client.notify(PING, bytes(1009))
        for call in (client.events, client.subscribe):
            with pytest.raises(ValueError, match="without events"):
                call()


def test_what_is_not_sent_has_the_code_of_c(wansim):
    with lterouter.Client(events=False) as client:
        with pytest.raises(lterouter.RequestError) as bad:
            client.request(lterouter.Module.CGI, PING, b"", 2)
    assert bad.value.code == 0


def test_events_come_to_a_loop_and_end_with_its_time(wansim):
    states = []
    with lterouter.Client() as client:
        client.connect()
        for event in client.events(timeout=30):
            states += [event.link_status] if isinstance(event, lterouter.LinkStatus) else []
            if lterouter.LinkState.CONNECTED in states:
                break
        assert list(client.events(timeout=0.1)) == []
        events = iter(client.events(timeout=0.1))
        assert next(events, None) is None
        client.disconnect()
        assert next(events, None) is None  # what has ended stays so
    assert states == [lterouter.LinkState.CONNECTING, lterouter.LinkState.CONNECTED]


def test_events_come_to_asyncio_beside_other_tasks(wansim):
    async def first(client):
        ticks = 0

        async def tick():
            nonlocal ticks
            while True:
                ticks += 1
                await asyncio.sleep(0.01)

        beside = asyncio.create_task(tick())
        asyncio.get_running_loop().call_later(0.2, client.connect)
        async for event in client.events():
            beside.cancel()
            return event, ticks

    with lterouter.Client() as client:
        event, ticks = asyncio.run(first(client))
    assert event == lterouter.InterfaceStatus(readiness=1)
    assert ticks > 5


def test_a_cancellation_is_not_lost_to_an_event_that_comes_with_it():
    def take(reader):
        with contextlib.suppress(BlockingIOError):
            return os.read(reader, 1)

    async def lost(turns):
        reader, writer = os.pipe2(os.O_NONBLOCK)
        waiting = asyncio.ensure_future(anext(Stream(lambda: reader, lambda: take(reader), 10)))
        await asyncio.sleep(0.01)
        os.write(writer, b"x")
        for _ in range(turns):
            await asyncio.sleep(0)
        was_cancelled = waiting.cancel()
        await asyncio.wait([waiting])
        os.close(reader)
        os.close(writer)
        return was_cancelled and not waiting.cancelled()

    assert [turns for turns in range(10) if asyncio.run(lost(turns))] == []


def test_a_process_has_one_client_and_a_closed_one_says_so(wansim):
    with lterouter.Client() as client:
        with pytest.raises(RuntimeError):
            lterouter.Client()
    client.close()
    with pytest.raises(ValueError, match="closed"):
        client.get_roaming()
    with lterouter.Client(events=False) as again:
        assert again.get_roaming() == 0


# ---- Messaging ----

SERVICE = """
import sys
import lterouter
with lterouter.Endpoint(lterouter.Module.UPTEST) as service:
    print("ready", flush=True)
    for message in service.messages():
        service.notify(message.id + 1, message.body)
        service.reply(message, message.body[::-1])
"""


def test_an_endpoint_answers_requests_and_publishes():
    with running(sys.executable, "-c", SERVICE, ready="ready"):
        with lterouter.Endpoint(lterouter.Module.CLI1, per_process=True) as endpoint:
            service = lterouter.Address.of_module(lterouter.Module.UPTEST)
            endpoint.subscribe(service, PING + 1, timeout=3)
            assert endpoint.request(service, PING, b"abc", timeout=3) == b"cba"
            notified = endpoint.messages(timeout=3).next()
            assert (notified.id, notified.body) == (PING + 1, b"abc")
            endpoint.unsubscribe(service, PING + 1)
            assert endpoint.request(service, PING, b"", timeout=3) == b""
            assert endpoint.messages(timeout=0).next() is None


def test_a_request_that_nobody_takes_is_a_socket_error():
    with lterouter.Endpoint(lterouter.Module.CLI1) as endpoint:
        with pytest.raises(lterouter.MessagingError) as bad:
            endpoint.request(lterouter.Address.of_module(lterouter.Module.CGI), PING, timeout=2)
        assert (bad.value.code, str(bad.value)) == (MessagingCode.ERR_SOCKET, "Endpoint.request: socket error")
        with pytest.raises(ValueError):
            endpoint.send(lterouter.Address.of_module(lterouter.Module.CGI), PING, bytes(MAX_BODY + 1))
    with pytest.raises(lterouter.MessagingError):
        lterouter.Endpoint(99)
    with pytest.raises(OverflowError):
        lterouter.Endpoint(-1)
    lterouter.Endpoint(lterouter.Module.CLI1).close()  # what failed has left nothing open


def test_an_address_is_of_its_size():
    with pytest.raises(ValueError, match="116 bytes"):
        lterouter.Address(b"x")


def test_a_message_is_not_made_before_all_of_it_fits(monkeypatch):
    receiver = lterouter.Address.of_module(lterouter.Module.UPTEST)
    with lterouter.Endpoint(lterouter.Module.UPTEST) as endpoint, monkeypatch.context() as patched:
        patched.setattr(lterouter.messaging, "lib", None)
        with pytest.raises(OverflowError):
            endpoint.send(receiver, -1)


def test_what_is_queued_can_be_discarded():
    with lterouter.Endpoint(lterouter.Module.UPTEST) as endpoint:
        myself = lterouter.Address.of_module(lterouter.Module.UPTEST)
        endpoint.send(myself, PING)
        assert select.select([endpoint], [], [], 3)[0] == [endpoint]
        endpoint.discard(PING)
        endpoint.send(myself, PING + 1)
        assert endpoint.messages(timeout=3).next().id == PING + 1


def test_a_call_with_an_endpoint_of_its_own_fails_beside_another():
    with lterouter.Endpoint(lterouter.Module.UPTEST) as endpoint:
        for call in (lterouter.lte.change_state, lterouter.lte.delete_messages):
            with pytest.raises(RuntimeError, match="already"):
                call()
        endpoint.send(lterouter.Address.of_module(lterouter.Module.UPTEST), PING)
        assert endpoint.messages(timeout=3).next().id == PING


def test_a_call_with_an_endpoint_of_its_own_leaves_none(wansim):
    lterouter.lte.change_state()
    with lterouter.Client(events=False) as client:
        assert client.get_roaming() == 0


def in_child(action):
    """The status of a forked child, which a call that hangs ends by SIGALRM."""
    if child := os.fork():
        return os.waitpid(child, 0)[1]
    try:
        signal.alarm(10)
        action()
        os._exit(0)
    finally:
        os._exit(1)


def test_a_forked_child_closes_nothing_of_its_parent():
    with lterouter.Endpoint(lterouter.Module.UPTEST) as endpoint:
        assert in_child(endpoint.close) == 0
        endpoint.send(lterouter.Address.of_module(lterouter.Module.UPTEST), PING)
        assert endpoint.messages(timeout=3).next().id == PING


# ---- Timers ----

def test_a_timer_expires_in_a_loop_until_it_is_closed():
    with lterouter.Timer(0.05, repeat=True) as timer:
        assert lterouter.timers.count() == (1, 0)
        assert sum(count for count, _ in zip(timer.expirations(timeout=3), range(3))) >= 3
        assert timer.is_running
    assert not timer.is_running
    assert lterouter.timers.count() == (0, 0)
    with pytest.raises(ValueError):
        timer.fileno()


def test_a_timer_that_expires_once_ends_by_itself():
    with lterouter.Timer(0.05) as timer:
        assert timer.expirations(timeout=3).next() == 1
        assert not timer.is_running


def test_a_forked_child_stops_no_timer(monkeypatch):
    with lterouter.Timer(10) as timer:
        with monkeypatch.context() as patched:
            patched.setattr(lterouter.timers, "lib", None)
            assert in_child(timer.close) == 0
        assert timer.is_running


def test_a_timer_is_stopped_before_the_interpreter_ends():
    program = """
import atexit
import lterouter
atexit.register(lambda: print(lterouter.timers.count()))
timer = lterouter.Timer(0.05, repeat=True)
"""
    done = subprocess.run([sys.executable, "-c", program], capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stdout, done.stderr) == (0, "(0, 0)\n", "")


def test_a_bad_timer_is_an_error():
    with pytest.raises(lterouter.TimerError) as bad:
        lterouter.Timer(1, name="x" * 21)
    assert bad.value.code == TimerCode.ERR_PARAM


def test_a_timer_that_cannot_be_leaves_no_descriptor():
    before = os.listdir("/proc/self/fd")
    with pytest.raises(OverflowError):
        lterouter.Timer(-1)
    assert os.listdir("/proc/self/fd") == before
