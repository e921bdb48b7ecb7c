"""The schema: read, and extended while sessions run."""

import pytest

import vqkudm


def test_definitions_describe_attributes_and_groups(repo):
    part = repo.definitions["UDMPart"]
    assert part.derived_from == "UDMItem"
    status = next(a for a in part.attributes if a.name == "status")
    assert status.default == "in work" and "released" in status.valid_values
    assert part.groups["parts"] == ["UDMPart"]


def test_an_added_attribute_takes_values_and_is_seen_by_a_new_session(repo, repo_dir):
    definition = repo.add_attribute("UDMPart", "supplier", "string", valid_values=["acme", "bolt & co"])
    assert definition.attributes[-1].name == "supplier"
    part = repo.create("UDMPart", "bolt", supplier="acme")
    part.checkin("sourced")
    with pytest.raises(vqkudm.InvalidArgumentError):
        part.checkout()
        part["supplier"] = "nobody"
    part.undo()
    with vqkudm.open(repo_dir) as again:
        assert again.get(part.uid)["supplier"] == "acme"
        assert "supplier" in [a.name for a in again.definitions["UDMPart"].attributes]


def test_bad_additions_are_refused(repo):
    repo.add_attribute("UDMPart", "supplier", "string")
    with pytest.raises(vqkudm.InvalidArgumentError) as twice:
        repo.add_attribute("UDMPart", "supplier", "string")
    assert twice.value.sub_category == vqkudm.SubCategory.CONFLICT
    with pytest.raises(vqkudm.InvalidArgumentError) as unknown:
        repo.add_attribute("UDMWidget", "supplier", "string")
    assert unknown.value.sub_category == vqkudm.SubCategory.NOT_FOUND
    with pytest.raises(vqkudm.Error):
        repo.add_attribute("UDMPart", "grade", "colour of money")
