"""Export and import: a package carries items with their structure and files."""

import pytest

import vqkudm


@pytest.fixture
def bike(repo, tmp_path):
    model = tmp_path / "frame.step"
    model.write_bytes(b"frame geometry")
    bike = repo.create("UDMProject", "bike")
    frame = repo.create("UDMPart", "frame", parent=bike, mass=2.1)
    frame.add_file(model)
    bike.checkin("first", recursive=True)
    return bike


@pytest.mark.parametrize("name", ["package", "package.zip", "package.tar.gz"])
def test_a_package_brings_the_structure_and_files_across(repo, bike, tmp_path, name):
    stages = []
    package = repo.export([bike], tmp_path / name, progress=lambda *stage: stages.append(stage))
    assert package.exists() and package.name == name
    assert ("contents", 1, 1) in stages and stages[-1][0] == "manifest"
    with vqkudm.open(tmp_path / "elsewhere") as other:
        assert other.import_(package) == 2
        [frame] = other.find("frame")
        assert (frame.uid, frame["mass"], frame.root.name) == (repo.find("frame")[0].uid, 2.1, "bike")
        assert open(frame.fetch_files(tmp_path / "out")[0], "rb").read() == b"frame geometry"
        assert other.import_(package) == 0, "nothing new the second time"


def test_the_progress_callback_can_stop_an_export(repo, bike, tmp_path):
    class Stop(Exception):
        pass

    def stop(stage, done, total):
        raise Stop(stage)

    with pytest.raises(Stop):
        repo.export(bike, tmp_path / "package", progress=stop)
    with pytest.raises(vqkudm.InvalidArgumentError):
        repo.export([], tmp_path / "empty")
    with pytest.raises(vqkudm.InvalidArgumentError):
        repo.export(["bike"], tmp_path / "names")
