"""Queries: lazy paging, counting without fetching, records, sorting."""

import pytest

import vqkudm


def make_parts(repo, count):
    for number in range(count):
        repo.create("UDMPart", f"p{number:03d}", mass=float(number)).checkin()


@pytest.mark.parametrize("count", [0, 1, 9, 10, 11, 25, 40])
def test_len_counts_every_match_across_page_boundaries(repo, count):
    make_parts(repo, count)
    result = repo.query("cdef = 'UDMPart'", page_size=10)
    assert len(result) == count
    names = [item.name for item in repo.query("cdef = 'UDMPart'", sort="mass", page_size=10)]
    assert names == [f"p{number:03d}" for number in range(count)]


def test_pages_are_fetched_as_the_iteration_reaches_them(repo):
    make_parts(repo, 25)
    items = iter(repo.query("cdef = 'UDMPart'", sort="mass", page_size=10))
    first_page = [next(items).name for _ in range(10)]
    assert first_page[-1] == "p009"
    # Stored after the first page was read, sorting into the second.
    repo.create("UDMPart", "p0095", mass=9.5).checkin()
    assert [item.name for item in items][:2] == ["p0095", "p010"]


def test_records_sort_and_filter(repo):
    make_parts(repo, 5)
    records = repo.query("mass >= 2", sort="-mass").records("name", "mass", "revision")
    assert records == [
        {"name": "p004", "mass": 4.0, "revision": 0},
        {"name": "p003", "mass": 3.0, "revision": 0},
        {"name": "p002", "mass": 2.0, "revision": 0},
    ]
    with pytest.raises(vqkudm.InvalidArgumentError) as raised:
        repo.query("mass >= 2").records("weight")
    assert raised.value.sub_category == vqkudm.SubCategory.NOT_FOUND


def test_sort_by_name(repo):
    for name in ("b", "c", "a"):
        repo.create("UDMPart", name).checkin()
    assert [item.name for item in repo.query(sort="name")] == ["a", "b", "c"]
    assert [item.name for item in repo.query(sort="-name")] == ["c", "b", "a"]


@pytest.mark.parametrize(
    "arguments",
    [{"page_size": 0}, {"page_size": 1.5}, {"sort": 3}, {"sort": ["name", ""]}],
)
def test_unfit_query_arguments_are_refused(repo, arguments):
    with pytest.raises(vqkudm.InvalidArgumentError):
        repo.query("", **arguments)
