"""Values crossing between Python and the repository, both ways and through storage."""

import datetime
import pathlib

import pytest

import vqkudm

UTC = datetime.timezone.utc


@pytest.mark.parametrize(
    "cdef, attribute, value, expected",
    [
        ("UDMPart", "mass", 0.25, 0.25),
        ("UDMPart", "mass", 2, 2.0),
        ("UDMPart", "partnumber", "PN-\u00e9-1", "PN-\u00e9-1"),
        ("UDMPart", "color", "#a0b0c0", "#a0b0c0"),
        ("UDMSimulation", "converged", True, True),
        ("UDMSimulation", "converged", False, False),
        ("UDMSimulation", "loadcases", ["static", "modal"], ["static", "modal"]),
        ("UDMSimulation", "loadcases", ("thermal",), ["thermal"]),
        ("UDMProject", "duedate", datetime.date(2026, 11, 24), datetime.date(2026, 11, 24)),
        (
            "UDMProject",
            "duedate",
            datetime.datetime(2026, 11, 24, 6, 30, 5, 250000, tzinfo=datetime.timezone(datetime.timedelta(hours=1))),
            datetime.datetime(2026, 11, 24, 5, 30, 5, 250000, tzinfo=UTC),
        ),
        ("UDMProject", "duedate", datetime.datetime(2026, 1, 2, 3, 4, 5, 6), datetime.datetime(2026, 1, 2, 3, 4, 5, 6)),
        ("UDMPart", "partnumber", None, None),
    ],
)
def test_value_survives_checkin_and_a_new_session(repo_dir, cdef, attribute, value, expected):
    with vqkudm.open(repo_dir) as repo:
        item = repo.create(cdef, "subject", **{attribute: value})
        assert item[attribute] == expected
        item.checkin()
        uid = item.uid
    with vqkudm.open(repo_dir) as repo:
        stored = repo.get(uid)[attribute]
    assert stored == expected
    assert type(stored) is type(expected)
    if isinstance(expected, datetime.datetime):
        assert stored.tzinfo == expected.tzinfo


def test_attributes_dict_holds_typed_values_without_system_ones(repo):
    part = repo.create("UDMPart", "bolt", mass=0.02, makeorbuy="buy")
    attributes = part.attributes
    assert attributes["mass"] == 0.02
    assert attributes["makeorbuy"] == "buy"
    assert attributes["unit"] == "each"  # the definition's default
    assert attributes["material"] is None
    assert not any(name.startswith("smd_") for name in attributes)
    assert "mass" in part and "smd_name" in part and "weight" not in part


def test_system_times_are_utc_datetimes(repo):
    part = repo.create("UDMPart", "bolt")
    part.checkin()
    assert part.created.tzinfo == UTC
    assert part.modified_time >= part.created
    assert part.created_by == "alice"


@pytest.mark.parametrize(
    "value, sub_category",
    [
        (object(), vqkudm.SubCategory.WRONG_TYPE),
        (b"bytes", vqkudm.SubCategory.WRONG_TYPE),
        (["ok", 3], vqkudm.SubCategory.WRONG_TYPE),
        (2**70, vqkudm.SubCategory.OUT_OF_RANGE),
        ("heavy", vqkudm.SubCategory.WRONG_TYPE),
    ],
)
def test_unfit_value_is_refused_naming_the_attribute(repo, value, sub_category):
    part = repo.create("UDMPart", "bolt")
    with pytest.raises(vqkudm.InvalidArgumentError) as raised:
        part["mass"] = value
    assert raised.value.sub_category == sub_category
    assert "mass" in raised.value.message
    assert part["mass"] is None


def test_create_with_a_refused_value_leaves_no_item(repo):
    with pytest.raises(vqkudm.InvalidArgumentError):
        repo.create("UDMPart", "bolt", mass=0.1, makeorbuy="steal")
    assert repo.find("bolt") == []


def test_paths_and_configuration_values_may_be_path_like(tmp_path):
    with vqkudm.open(name="shared", base_dir=tmp_path) as repo:
        repo.create("UDMPart", "frame").checkin()
    configuration = {
        "DataSource": "local",
        "RepositoryBaseDir": pathlib.Path(tmp_path),
        "RepositoryName": "shared",
        "WorkspaceBaseDir": tmp_path / "elsewhere",
        "WorkspaceName": "mine",
    }
    with vqkudm.open(configuration) as repo:
        assert [item.name for item in repo.find("frame")] == ["frame"]
    assert (tmp_path / "elsewhere" / "mine").is_dir()


def test_a_directory_opens_as_udm_init_lays_it_out(repo_dir):
    with vqkudm.open(str(repo_dir)) as repo:
        assert repo.name == "product"
    assert (repo_dir / ".udm" / "product" / "repository.db").is_file()
    # Opening again finds that repository, whatever the directory is called then.
    moved = repo_dir.rename(repo_dir.with_name("renamed"))
    with vqkudm.open(moved) as repo:
        assert repo.name == "product"
