"""Parents and root, relations, and categories."""

import pytest

import vqkudm


@pytest.fixture
def bike(repo):
    bike = repo.create("UDMProject", "bike")
    frame = repo.create("UDMPart", "frame", parent=bike)
    repo.create("UDMPart", "bolt", parent=frame)
    bike.checkin("first", recursive=True)
    return bike


def test_parents_and_root(repo, bike):
    [bolt] = repo.find("bolt")
    assert [parent.name for parent in bolt.parents()] == ["frame"]
    assert bolt.root.name == "bike"
    assert bike.root == bike and bike.parents() == []


def test_relations_both_ways_and_removed(repo, bike):
    [frame] = repo.find("frame")
    drawing = repo.create("UDMDocument", "frame drawing")
    drawing.checkin("drawn")
    relation = frame.relate(drawing, "UDMRelGeneral")
    assert (relation.type, relation.left, relation.right, relation.bidirectional) == (
        "UDMRelGeneral", frame, drawing, False)
    assert [r.uid for r in frame.relations("out")] == [relation.uid]
    assert frame.relations("in") == []
    assert [r.left.name for r in drawing.relations("in")] == ["frame"]
    assert frame.unrelate(drawing) is True
    assert frame.relations() == [] and frame.unrelate(drawing) is False
    with pytest.raises(vqkudm.InvalidArgumentError) as wrong:
        frame.relations("sideways")
    assert wrong.value.sub_category == vqkudm.SubCategory.OUT_OF_RANGE


def test_classifications_are_kept_with_the_revision(repo, bike):
    fasteners = repo.create("Categories", "fasteners")
    fasteners.checkin("category")
    [bolt] = repo.find("bolt")
    with bolt.checkout("classified"):
        bolt.classify(fasteners)
    assert bolt.classifications == [fasteners]
    assert bolt.revisions[0].classifications == []
    with bolt.checkout("not a fastener"):
        bolt.unclassify(fasteners)
    assert bolt.classifications == []
    with pytest.raises(vqkudm.InvalidArgumentError) as wrong:
        bolt.classify(bike)
    assert wrong.value.sub_category == vqkudm.SubCategory.WRONG_TYPE
