"""The module on the PostgreSQL server the test command starts."""

import os
import shutil
import subprocess
import uuid

import pytest

import vqkudm

SERVER = os.environ.get("VQKUDM_TEST_PG")

pytestmark = pytest.mark.skipif(
    not SERVER or not shutil.which("psql"),
    reason="no PostgreSQL test server: run scripts/test.sh, or eval \"$(scripts/pg-test-server.sh start)\"",
)


def admin(statement):
    # psql is not built with the sanitizers the asan build preloads.
    env = {key: value for key, value in os.environ.items() if key != "LD_PRELOAD"}
    subprocess.run(["psql", "-q", "-v", "ON_ERROR_STOP=1", "-d", SERVER, "-c", statement], check=True, env=env,
                   timeout=60)


@pytest.fixture
def configuration():
    database = f"udmpy_{os.getpid()}_{uuid.uuid4().hex[:8]}"
    admin(f"CREATE DATABASE {database}")
    yield {"DataSource": "PostGres", "RepositoryName": database, "dbconnectstring": f"{SERVER} dbname={database}"}
    admin(f"DROP DATABASE IF EXISTS {database} WITH (FORCE)")


def test_items_files_and_queries_on_the_server(configuration, tmp_path):
    model = tmp_path / "frame.step"
    model.write_bytes(b"frame geometry" * 1000)
    changes = []
    with vqkudm.open(configuration) as repo:
        with repo.subscribe(changes.append):
            bike = repo.create("UDMProject", "bike")
            frame = repo.create("UDMPart", "frame", parent=bike, mass=2.1)
            frame.add_file(model)
            for number in range(30):
                repo.create("UDMPart", f"spoke {number:02}", parent=bike, mass=0.01)
            bike.checkin("first", recursive=True)
        assert sum(change.kind == "persisted" for change in changes) == 32

    with vqkudm.open(configuration) as again:
        light = again.query("cdef = 'UDMPart' and mass < 1", sort="-name", page_size=7)
        assert len(light) == 30
        assert [part.name for part in light][:2] == ["spoke 29", "spoke 28"]
        [frame] = again.find("frame")
        with frame.checkout("heavier"):
            frame["mass"] = 2.4
        assert [r["mass"] for r in frame.revisions] == [2.1, 2.4]
        written = frame.fetch_files(tmp_path / "out")
        assert open(written[0], "rb").read() == model.read_bytes()
