"""Check-out, check-in and undo, through the context manager and by hand."""

import pytest

import vqkudm


@pytest.fixture
def frame(repo):
    item = repo.create("UDMPart", "frame", mass=2.0)
    item.checkin("first")
    return item


def test_block_checks_in_on_exit(repo_dir, repo, frame):
    with frame.checkout("lighter") as editing:
        assert editing is not frame and editing == frame
        assert frame.checked_out
        frame["mass"] = 1.5
    assert not frame.checked_out
    assert frame.revision == 1
    with vqkudm.open(repo_dir) as other:
        latest = other.get(frame.uid[:32])
        assert latest.revision == 1
        assert latest["mass"] == 1.5


def test_block_that_raises_undoes_the_checkout_and_lets_the_error_through(repo, frame):
    with pytest.raises(KeyError, match="mine"):
        with frame.checkout("lighter"):
            frame["mass"] = 1.5
            raise KeyError("mine")
    assert not frame.checked_out
    assert frame.revision == 0
    assert frame["mass"] == 2.0
    # Nothing is left locked: a new check-out works.
    frame.checkout().item.undo()


def test_new_item_in_a_block_that_raises_is_discarded(repo):
    with pytest.raises(RuntimeError):
        part = repo.create("UDMPart", "bolt")
        with part.checkout():
            raise RuntimeError("abandon")
    assert repo.find("bolt") == []


def test_checkin_recursive_stores_new_children(repo):
    assembly = repo.create("UDMPart", "assembly")
    repo.create("UDMPart", "bolt", parent=assembly)
    with pytest.raises(vqkudm.StateError):
        assembly.checkin()
    assembly.checkin("with its bolt", recursive=True)
    assert [child.name for child in assembly.children] == ["bolt"]
    assert not assembly.children[0].checked_out


def test_editing_without_checkout_is_refused(repo, frame):
    with pytest.raises(vqkudm.StateError):
        frame["mass"] = 1.0
    with pytest.raises(vqkudm.StateError):
        frame.name = "renamed"


def test_item_hash_survives_checkin_and_equality_is_by_revision(repo, frame):
    seen = {frame}
    with frame.checkout():
        frame.name = "renamed"
    assert frame in seen
    assert frame.name == "renamed"
    first = repo.get(frame.uid[:32] + "0")
    assert first.name == "frame" and first.revision == 0
    assert first != frame and hash(first) == hash(frame)
    assert repo.get(frame.uid[:32]) == frame


def test_checkout_held_by_another_user_is_a_conflict(repo_dir, repo, frame, monkeypatch):
    frame.checkout("mine")
    monkeypatch.setenv("USER", "bob")
    with vqkudm.open(repo_dir) as other:
        theirs = other.get(frame.uid)
        with pytest.raises(vqkudm.StateError) as raised:
            theirs.checkout()
        assert raised.value.sub_category == vqkudm.SubCategory.CONFLICT
        assert "alice" in raised.value.message


def test_checkout_left_by_an_earlier_session_is_taken_up(repo_dir, frame, repo):
    frame.checkout("left over")
    uid = frame.uid
    repo.close()
    with vqkudm.open(repo_dir) as again:
        item = again.get(uid)
        with item.checkout("finished"):
            item["mass"] = 3.0
        assert item.revision == 1
