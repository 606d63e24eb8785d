"""progress= is told the share done; False, an exception and Ctrl-C end the work and come through."""
import os
import signal
import subprocess
import sys
import threading

import numpy as np
import pixmill
import pytest

BYTES = np.random.default_rng(1).integers(0, 256, (300, 200)).astype(np.uint8)
COLOURS = np.random.default_rng(1).integers(0, 256, (200, 300, 3)).astype(np.uint8)


def engine(progress):
    luma, half = np.full((80, 60), 30000, np.uint16), np.full((40, 30), 32768, np.uint16)
    pixmill.DetailEngine().setup(luma, luma, luma, luma, half, half, progress=progress)


def opened(progress):
    pixmill.Developer().open(COLOURS, progress=progress)


def rendered(progress):
    developer = pixmill.Developer()
    developer.open(COLOURS)
    developer.render_all(progress=progress)


CALLS = {
    "box_filter": lambda progress: pixmill.box_filter(BYTES, progress=progress),
    "bilateral_filter": lambda progress: pixmill.bilateral_filter(BYTES, progress=progress),
    "engine": engine,
    "Developer.open": opened,
    "Developer.render_all": rendered,
    "develop": lambda progress: pixmill.develop(COLOURS, progress=progress),
}
each_call = pytest.mark.parametrize("name", CALLS)


@each_call
def test_shares_rise_to_one(name):
    shares = []
    CALLS[name](shares.append)
    assert len(shares) > 1 and shares == sorted(shares)
    assert shares[0] >= 0 and abs(shares[-1] - 1) < 1e-6


@each_call
def test_false_cancels(name):
    with pytest.raises(pixmill.Cancelled):
        CALLS[name](lambda share: False)


@each_call
def test_an_exception_comes_through_and_is_asked_no_more(name):
    calls = []

    def progress(share):
        calls.append(share)
        raise KeyError("mine")

    with pytest.raises(KeyError, match="mine"):
        CALLS[name](progress)
    assert len(calls) == 1


@each_call
def test_an_interrupt_comes_through_without_a_callable_too(name):
    for progress in (None, lambda share: None):
        timer = threading.Timer(0.0, lambda: os.kill(os.getpid(), signal.SIGINT))
        with pytest.raises(KeyboardInterrupt):
            timer.start()
            while True:
                CALLS[name](progress)
        timer.join()


@each_call
def test_other_answers_go_on(name):
    for answer in (None, True, 0, "", []):
        CALLS[name](lambda share: answer)


def test_an_object_at_work_refuses_a_call_from_its_own_progress():
    developer = pixmill.Developer()
    with pytest.raises(pixmill.Error, match="at work"):
        developer.open(COLOURS, progress=lambda share: developer.size())
    developer.open(COLOURS)
    assert developer.size() == (300, 200)


def test_cancelled_work_leaves_the_developer_as_it_was():
    developer = pixmill.Developer()
    developer.open(COLOURS)
    with pytest.raises(pixmill.Cancelled):
        developer.open(COLOURS[:50], progress=lambda share: False)
    assert developer.size() == (300, 200)


def test_a_signal_ends_a_long_filter_soon():
    code = (
        "import numpy, pixmill\n"
        "print('begun', flush=True)\n"
        "pixmill.box_filter(numpy.zeros((4000, 4000), 'u2'), 50, 16)\n"
        "print('whole')\n"
    )
    child = subprocess.Popen([sys.executable, "-c", code], stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    assert child.stdout.readline() == "begun\n"
    child.send_signal(signal.SIGINT)
    out, err = child.communicate(timeout=60)
    assert out == "" and "KeyboardInterrupt" in err
