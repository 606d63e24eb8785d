"""Threads, processes, and objects that several threads use."""
import multiprocessing
import os
import subprocess
import sys
import threading
import time

import numpy as np
import pixmill
import pytest
from conftest import same
from filters import CASES

WORDS = np.random.default_rng(3).integers(0, 65536, (400, 300)).astype(np.uint16)
COLOURS = np.random.default_rng(3).integers(0, 256, (120, 160, 3)).astype(np.uint8)


def in_threads(count, work):
    """Runs `work` on several threads at once; raises what came up."""
    raised = []

    def guarded():
        try:
            work()
        except BaseException as error:
            raised.append(error)

    threads = [threading.Thread(target=guarded) for _ in range(count)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join(120)
        assert not thread.is_alive()
    assert not raised, raised


def test_other_threads_run_during_a_call():
    ticks, stop = [], threading.Event()

    def tick():
        while not stop.wait(0.001):
            ticks.append(1)

    clock = threading.Thread(target=tick)
    clock.start()
    begun, before = time.monotonic(), len(ticks)
    pixmill.box_filter(np.zeros((3000, 3000), np.uint16), 40, 8)
    passed, seen = time.monotonic() - begun, len(ticks) - before
    stop.set()
    clock.join()
    assert passed < 0.02 or seen > 2


@pytest.mark.parametrize("name, kind", CASES)
def test_threads_get_the_bits_of_one(name, kind, planes):
    p = getattr(planes, kind)[:60, :45].copy()
    wanted = getattr(pixmill, name)(p)

    def work():
        for _ in range(5):
            assert same(getattr(pixmill, name)(p), wanted)

    in_threads(4, work)


def test_an_input_that_changes_under_a_call_harms_no_memory():
    code = """
import threading, numpy, pixmill
p, stop = numpy.zeros((300, 300), 'u2'), threading.Event()
random = numpy.random.default_rng(1)
def change():
    while not stop.is_set():
        p[:] = random.integers(0, 65536, p.shape)
threads = [threading.Thread(target=change) for _ in range(2)]
[t.start() for t in threads]
for i in range(8):
    pixmill.bilateral_filter(p, cell=2, range=300)
    pixmill.bilateral_filter(p, p, cell=2, range=300, out=p)
    pixmill.bilateral_filter(p, cell=2, range=300, out=p)
    pixmill.local_laplacian(p)
    pixmill.guided_filter(p)
    pixmill.look_up(p, numpy.arange(65536, dtype='u2'))
stop.set()
[t.join() for t in threads]
"""
    subprocess.run([sys.executable, "-c", code], check=True, timeout=120)


def test_threads_take_turns_on_one_object():
    developer, engine = pixmill.Developer(), pixmill.DetailEngine()
    developer.open(COLOURS)
    picture = pixmill.PlanarPicture.from_packed(COLOURS)
    grey = np.full(picture.y.shape, 32768, np.uint16)
    engine.setup(picture.y, grey, grey, grey, picture.dr, picture.db)
    mask = pixmill.DrawMask(picture)
    wanted = developer.render({"light.shadows": 0.2}, (0, 0, 50, 40))

    def work():
        for i in range(10):
            assert same(developer.render({"light.shadows": 0.2}, (0, 0, 50, 40)), wanted)
            developer.render(None, (i, i, 30, 30))
            engine.set_detail(i % 3, slope=0.1 * i)
            engine.render(0, 0, 100, 80)
            mask.stroke([(10 * i, 20)], 12)
            mask.render()
            assert engine.full_dr is not None and picture.y.shape == (120, 160)

    in_threads(4, work)


def child_work(_):
    return pixmill.guided_filter(WORDS).tobytes()


@pytest.mark.parametrize("method", ["fork", "spawn", "forkserver"])
def test_processes_get_the_bits_of_this_one(method):
    wanted = pixmill.guided_filter(WORDS).tobytes()
    with multiprocessing.get_context(method).Pool(2) as pool:
        assert pool.map_async(child_work, range(4)).get(120) == [wanted] * 4


def test_a_fork_in_the_middle_of_threads_calls_goes_on():
    code = """
import os, threading, numpy, pixmill
p = numpy.zeros((500, 500), 'u2')
stop = threading.Event()
def work():
    while not stop.is_set():
        pixmill.box_filter(p, 9)
threads = [threading.Thread(target=work) for _ in range(3)]
[t.start() for t in threads]
for _ in range(10):
    child = os.fork()
    if child == 0:
        pixmill.guided_filter(p)
        os._exit(0)
    assert os.waitpid(child, 0)[1] == 0
stop.set()
[t.join() for t in threads]
"""
    subprocess.run([sys.executable, "-c", code], check=True, timeout=120)


def test_a_scope_of_threads_ends_where_it_began():
    before = pixmill.threads()
    with pixmill.ThreadScope(3):
        assert pixmill.threads() == 3
        with pixmill.ThreadScope(1):
            assert pixmill.threads() == 1
        assert pixmill.threads() == 3
    assert pixmill.threads() == before
    scope = pixmill.ThreadScope(2).__enter__()

    def leave():
        with pytest.raises(pixmill.Error):
            scope.__exit__(None, None, None)

    in_threads(1, leave)
    scope.__exit__(None, None, None)
    assert pixmill.threads() == before


def test_the_number_of_threads_can_be_set_for_all():
    before = pixmill.threads()
    pixmill.set_threads(1)
    assert pixmill.threads() == 1
    pixmill.set_threads(0)
    assert pixmill.threads() == before or os.environ.get("OMP_NUM_THREADS")
