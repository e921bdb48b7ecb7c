"""Structure, where-used and finding items by name, identifier and URL."""

import pytest

import vqkudm


@pytest.fixture
def bike(repo):
    bike = repo.create("UDMProject", "bike")
    frame = repo.create("UDMPart", "frame", parent=bike)
    repo.create("UDMPart", "bolt", parent=frame)
    manual = repo.create("UDMDocument", "manual", parent=bike)
    bike.checkin("first", recursive=True)
    return bike


def test_children_by_group(repo, bike):
    assert sorted(child.name for child in bike.children) == ["frame", "manual"]
    assert [child.name for child in bike.children_in("parts")] == ["frame"]
    assert [child.name for child in bike.children_in("documents")] == ["manual"]


def test_add_child_picks_the_group_and_counts_uses(repo, bike):
    frame = repo.find("frame")[0]
    bolt = repo.find("bolt")[0]
    with frame.checkout("two more bolts"):
        frame.add_child(bolt, quantity=2.0)
        frame.add_child(bolt, "parts", refdes="rear")
    assert [child.name for child in frame.children_in("parts")] == ["bolt"] * 3
    uses = frame.uses
    assert [(use.group, use.child, use.attributes.get("quantity"), use.attributes.get("refdes")) for use in uses] == [
        ("parts", bolt, 1.0, None), ("parts", bolt, 2.0, None), ("parts", bolt, 1.0, "rear")]
    assert len({use.id for use in uses}) == 3
    assert [use.id for use in frame.revisions[0].uses] == [uses[0].id], "a use keeps its id across revisions"
    with pytest.raises(vqkudm.InvalidArgumentError):
        with frame.checkout():
            frame.add_child(repo.create("Categories", "fasteners"))


def test_where_used_every_level_nearest_first(repo, bike):
    bolt = repo.find("bolt")[0]
    users = bolt.where_used()
    assert [(user.parent.name, user.level, user.group, user.uses) for user in users] == [
        ("frame", 1, "parts", 1),
        ("bike", 2, "parts", 1),
    ]
    assert [user.parent.name for user in bolt.where_used(levels=1)] == ["frame"]


def test_get_by_identifier_id_and_versioned_url(repo, bike):
    frame = repo.find("frame")[0]
    with frame.checkout():
        frame["mass"] = 4.0
    assert repo.get(frame.uid).revision == 1
    assert repo.get(frame.uid[:32]).revision == 1
    assert repo.get(frame.uid[:32] + "0")["mass"] is None
    bolt = repo.get("/product/bike~v0/parts/frame~v1/parts/bolt~v0/")
    assert bolt.name == "bolt"
    assert bolt.url == "/product/bike~v0/parts/frame~v1/parts/bolt~v0/", "through the latest parents"
    assert repo.get(frame.url) == frame
    with pytest.raises(vqkudm.InvalidArgumentError) as raised:
        repo.get("/product/bike~v0/parts/wheel~v0/")
    assert raised.value.sub_category == vqkudm.SubCategory.NOT_FOUND
    with pytest.raises(vqkudm.InvalidArgumentError) as raised:
        repo.get("/product/bike/")
    assert raised.value.sub_category == vqkudm.SubCategory.SYNTAX


def test_find_sees_new_items_and_stored_ones(repo, bike):
    stored = repo.find("frame")[0]
    fresh = repo.create("UDMPart", "frame")
    assert set(repo.find("frame")) == {stored, fresh}
    fresh.undo()
    assert repo.find("frame") == [stored]
