"""Failures reach Python as Error subclasses with the runtime's fields."""

import pytest

import vqkudm


def test_error_carries_message_category_sub_category_and_context(repo):
    with pytest.raises(vqkudm.Error) as raised:
        list(repo.query("mass >"))
    error = raised.value
    assert isinstance(error, vqkudm.InvalidArgumentError) and isinstance(error, ValueError)
    assert error.category is vqkudm.Category.INVALID_ARGUMENT
    assert error.sub_category is vqkudm.SubCategory.SYNTAX
    assert "mass >" in error.message and str(error) == error.message
    assert error.context


@pytest.mark.parametrize(
    "configuration, error_class, sub_category",
    [
        ({"DataSource": "Local"}, vqkudm.InvalidArgumentError, vqkudm.SubCategory.WRONG_TYPE),
        (
            {"DataSource": "UDMXML", "ConnectionIdentifier": "x", "FileDataSource": "/nonexistent.plmxml"},
            vqkudm.FileError,
            vqkudm.SubCategory.NOT_FOUND,
        ),
        ({"DataSource": "Windchill", "ConnectionIdentifier": "x"}, vqkudm.UnsupportedError, vqkudm.SubCategory.GENERAL),
    ],
)
def test_configuration_keys_reach_the_profile_manager(configuration, error_class, sub_category):
    with pytest.raises(error_class) as raised:
        vqkudm.open(configuration)
    assert raised.value.sub_category == sub_category


def test_open_refuses_what_names_no_repository(tmp_path):
    (tmp_path / "file").write_text("")
    with pytest.raises(vqkudm.FileError) as raised:
        vqkudm.open(tmp_path / "file")
    assert raised.value.sub_category == vqkudm.SubCategory.FOLDER_CREATION
    with pytest.raises(vqkudm.InvalidArgumentError):
        vqkudm.open()
    with pytest.raises(vqkudm.InvalidArgumentError):
        vqkudm.open(base_dir=tmp_path)
    with pytest.raises(vqkudm.InvalidArgumentError):
        vqkudm.open(tmp_path, name="workspace")
    with pytest.raises(vqkudm.Error) as raised:
        vqkudm.open(name="never-registered")
    assert raised.value.sub_category == vqkudm.SubCategory.NOT_FOUND


def test_unknown_item_and_attribute_are_not_found(repo):
    part = repo.create("UDMPart", "bolt")
    for lookup in (lambda: repo.get("0" * 32), lambda: repo.get("0" * 32 + "0"), lambda: part["weight"]):
        with pytest.raises(vqkudm.InvalidArgumentError) as raised:
            lookup()
        assert raised.value.sub_category == vqkudm.SubCategory.NOT_FOUND
    with pytest.raises(vqkudm.InvalidArgumentError) as raised:
        repo.get("bolt")
    assert raised.value.sub_category == vqkudm.SubCategory.SYNTAX


def test_items_of_a_closed_repository_raise_state_errors(repo_dir):
    with vqkudm.open(repo_dir) as repo:
        part = repo.create("UDMPart", "bolt")
        part.checkin()
    assert repo.closed
    for use in (lambda: part["mass"], lambda: part.children, lambda: repo.find("bolt")):
        with pytest.raises(vqkudm.StateError) as raised:
            use()
        assert raised.value.sub_category == vqkudm.SubCategory.NULL
    assert "bolt" not in repr(part) or repr(part).startswith("<vqkudm.Item UDMPart")
