"""Threads: the GIL is let go while the runtime works, and threads sharing a
repository take turns on it."""

import threading
import time

import vqkudm


def test_other_threads_run_while_a_file_is_checked_in(repo, tmp_path):
    big = tmp_path / "scan.stl"
    big.write_bytes(bytes(range(256)) * (256 * 1024))  # 64 MiB
    ticks, done = [], threading.Event()

    def tick():
        while not done.is_set():
            ticks.append(time.perf_counter())
            time.sleep(0.001)

    ticker = threading.Thread(target=tick)
    ticker.start()
    try:
        part = repo.create("UDMPart", "scan")
        start = time.perf_counter()
        part.add_file(big)
        part.checkin("scanned")
        end = time.perf_counter()
    finally:
        done.set()
        ticker.join()
    assert sum(start < moment < end for moment in ticks) > 5
    assert part.files[0].size == big.stat().st_size


def test_threads_sharing_a_repository_take_turns(repo):
    errors = []

    def create(prefix):
        try:
            for number in range(40):
                item = repo.create("UDMPart", f"{prefix}-{number}", mass=float(number))
                item.checkin("made by a thread")
        except vqkudm.Error as error:
            errors.append(error)

    threads = [threading.Thread(target=create, args=(name,)) for name in ("left", "right", "middle")]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert errors == []
    assert len(repo.query("cdef = 'UDMPart'")) == 120
