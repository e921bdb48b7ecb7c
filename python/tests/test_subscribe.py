"""Subscriptions: the session's changes reach a callback until it is closed."""

import gc
import sys

import pytest

import vqkudm


def test_changes_arrive_in_order_with_their_items(repo):
    changes = []
    with repo.subscribe(changes.append):
        part = repo.create("UDMPart", "bolt", mass=0.02)
        part.checkin("first")
    assert [(c.kind, c.item.name, c.attribute, c.value) for c in changes] == [
        ("created", "bolt", None, None),
        ("attribute set", "bolt", "mass", 0.02),
        ("persisted", "bolt", None, None),
    ]
    assert len({c.session_id for c in changes}) == 1
    part.checkout()
    part.undo()
    assert len(changes) == 3, "closed by the with block"


def test_a_callback_may_read_the_repository(repo):
    names = []
    subscription = repo.subscribe(lambda change: names.append(change.item.name if change.item else None))
    repo.create("UDMPart", "bolt").checkin("first")
    assert names == ["bolt", "bolt"]
    subscription.close()


def test_collected_or_closed_with_the_repository_it_stops(repo_dir):
    calls = []
    repository = vqkudm.open(repo_dir)
    subscription = repository.subscribe(calls.append)
    del subscription
    gc.collect()
    repository.create("UDMPart", "bolt")
    assert calls == []
    kept = repository.subscribe(calls.append)
    repository.close()
    assert kept.closed
    kept.close()


def test_a_failing_callback_does_not_undo_the_change(repo, monkeypatch):
    reported = []
    monkeypatch.setattr(sys, "unraisablehook", reported.append)

    def fail(change):
        raise RuntimeError("listener broke")

    subscription = repo.subscribe(fail)
    part = repo.create("UDMPart", "bolt")
    part.checkin("first")
    assert [str(r.exc_value) for r in reported] == ["listener broke"] * 2
    assert repo.get(part.uid).name == "bolt"
    subscription.close()
    with pytest.raises(vqkudm.InvalidArgumentError):
        repo.subscribe("not callable")
