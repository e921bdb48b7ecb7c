"""Files and preview images: into the vault on check-in, back out by hash."""

import hashlib

import pytest

import vqkudm


def blake2b(data):
    return hashlib.blake2b(data, digest_size=32).hexdigest()


@pytest.fixture
def drawing(tmp_path):
    path = tmp_path / "bracket.step"
    path.write_bytes(b"ISO-10303-21;\n" * 100)
    return path


def test_files_are_kept_by_content_and_written_back(repo, drawing, tmp_path):
    part = repo.create("UDMPart", "bracket")
    part.add_file(drawing)
    part.checkin("with its model")
    [kept] = part.files
    assert (kept.name, kept.folder, kept.size, kept.external) == ("bracket.step", "", drawing.stat().st_size, False)
    assert kept.hash == blake2b(drawing.read_bytes())
    assert kept.added.tzinfo is not None

    drawing.write_bytes(b"changed after the check-in")
    [written] = part.fetch_files(tmp_path / "out")
    assert open(written, "rb").read() == b"ISO-10303-21;\n" * 100


def test_a_file_of_the_same_name_replaces_the_content_in_the_next_revision(repo, drawing):
    part = repo.create("UDMPart", "bracket")
    part.add_file(drawing)
    part.checkin("first")
    first = part.files[0].hash
    drawing.write_bytes(b"revised geometry")
    with part.checkout("revised"):
        part.add_file(drawing)
    assert [f.hash for f in part.files] == [blake2b(b"revised geometry")]
    assert [f.hash for f in part.revisions[0].files] == [first]
    with part.checkout("no model"):
        part.remove_file("bracket.step")
    assert part.files == []


def test_files_need_the_item_checked_out_and_the_file_to_exist(repo, drawing, tmp_path):
    part = repo.create("UDMPart", "bracket")
    part.checkin("first")
    with pytest.raises(vqkudm.StateError):
        part.add_file(drawing)
    part.checkout()
    with pytest.raises(vqkudm.FileError) as missing:
        part.add_file(tmp_path / "nothing.step")
    assert missing.value.sub_category == vqkudm.SubCategory.NOT_FOUND
    with pytest.raises(vqkudm.InvalidArgumentError):
        part.remove_file("nothing.step")


def test_previews_keep_one_default_and_are_fetched_by_name(repo, tmp_path):
    front, side = tmp_path / "front.png", tmp_path / "side.jpg"
    front.write_bytes(b"\x89PNG front")
    side.write_bytes(b"\xff\xd8 side")
    part = repo.create("UDMPart", "bracket")
    part.add_preview(front, description="from the front")
    part.add_preview(side, name="side view.jpg")
    part.checkin("pictures")
    assert [(p.name, p.type, p.default) for p in part.previews] == [
        ("front.png", "png", True),
        ("side view.jpg", "jpeg", False),
    ]
    assert part.files == [], "previews are not among the files"
    assert open(part.fetch_preview(tmp_path / "out"), "rb").read() == b"\x89PNG front"

    with part.checkout("side first"):
        part.default_preview = "side view.jpg"
        part.remove_preview("front.png")
    assert part.default_preview == "side view.jpg"
    path = part.fetch_preview(tmp_path / "again", "side view.jpg")
    assert open(path, "rb").read() == b"\xff\xd8 side"
    with pytest.raises(vqkudm.InvalidArgumentError):
        part.fetch_preview(tmp_path, "front.png")
