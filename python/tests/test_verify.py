"""The integrity check from Python."""


def test_a_content_gone_from_the_vault_is_a_fault(repo, repo_dir, tmp_path):
    model = tmp_path / "frame.step"
    model.write_bytes(b"frame geometry")
    frame = repo.create("UDMPart", "frame")
    frame.add_file(model)
    frame.checkin("first")
    sound = repo.verify()
    assert sound.sound and sound.findings == []
    assert (sound.entities, sound.revisions, sound.file_records, sound.contents) == (1, 1, 1, 1)

    key = frame.files[0].hash
    (repo_dir / ".udm" / "product" / "vault" / "objects" / key[:2] / key).unlink()
    broken = repo.verify()
    assert not broken.sound
    assert [(f.check, f.subject, f.fault) for f in broken.findings] == [("content", key, True)]
    assert "frame.step" in broken.findings[0].message
