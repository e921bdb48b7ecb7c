"""History: revisions in order, branches started from older revisions."""

import datetime

import pytest


@pytest.fixture
def frame(repo):
    frame = repo.create("UDMPart", "frame", mass=2.0)
    frame.checkin("first")
    for mass in (2.1, 2.2):
        with frame.checkout(f"mass {mass}"):
            frame["mass"] = mass
    return frame


def test_revisions_are_the_stored_ones_oldest_first(frame):
    assert [(r.revision, r["mass"]) for r in frame.revisions] == [(0, 2.0), (1, 2.1), (2, 2.2)]


def test_history_links_revisions_and_branches(repo, frame):
    first = frame.revisions[0]
    first.checkout("a lighter line")
    first["mass"] = 1.5
    first.checkin("a lighter line")
    assert first.uid[:32] != frame.uid[:32], "a branch is an item of its own"

    root = frame.history()
    assert (root.number, root.comment, root.previous) == (0, "first", None)
    assert isinstance(root.time, datetime.datetime) and root.by == "alice"
    line, branch = root.next
    assert (line.number, line.line, line.branched) == (1, frame.uid[:32], False)
    assert (branch.number, branch.line, branch.branched, branch.comment) == (0, first.uid[:32], True, "a lighter line")
    assert branch.previous.uid == root.uid
    assert branch.item["mass"] == 1.5
    assert [r.number for r in line.next] == [2] and line.next[0].next == []
    # Asked from the branch, the tree is the same.
    assert first.history().uid == root.uid
    assert [r.revision for r in first.revisions] == [0]

