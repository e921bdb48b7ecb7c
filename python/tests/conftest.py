import pytest

import vqkudm


@pytest.fixture(autouse=True)
def registry(tmp_path, monkeypatch):
    """Each test records its repositories in a registry of its own."""
    monkeypatch.setenv("NORVEL_VQK_UDMRT_DB_DIR", str(tmp_path / "registry"))
    monkeypatch.setenv("USER", "alice")


@pytest.fixture
def repo_dir(tmp_path):
    return tmp_path / "product"


@pytest.fixture
def repo(repo_dir):
    with vqkudm.open(repo_dir) as repository:
        yield repository
