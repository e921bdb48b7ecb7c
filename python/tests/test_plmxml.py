"""A PLM XML document opened through a configuration dict."""

import vqkudm

DOCUMENT = """<?xml version="1.0" encoding="utf-8"?>
<PLMXML xmlns="http://www.plmxml.org/Schemas/PLMXMLSchema" schemaVersion="6">
  <Product id="p1" productId="FR-100" name="Frame"/>
  <Product id="p2" productId="BR-200" name="Bracket">
    <UserData id="u1"><UserValue title="Material" value="steel"/></UserData>
  </Product>
  <ProductRevision id="r1" masterRef="#p1" revision="A" name="Frame"/>
  <ProductRevision id="r2" masterRef="#p2" revision="A" name="Bracket">
    <AssociatedDataSet id="ad1" dataSetRef="#ds1" role="geometry"/>
  </ProductRevision>
  <DataSet id="ds1" name="bracket" type="STEP" memberRefs="#f1"/>
  <ExternalFile id="f1" locationRef="cad/bracket.step" format="step"/>
  <ProductView id="v1" rootRefs="o1">
    <Occurrence id="o1" instancedRef="#r1" occurrenceRefs="o2 o3"/>
    <Occurrence id="o2" instancedRef="#r2" parentRef="#o1"/>
    <Occurrence id="o3" instancedRef="#r2" parentRef="#o1"/>
  </ProductView>
</PLMXML>
"""


def test_a_document_reads_as_parts_with_uses_and_files(tmp_path):
    (tmp_path / "cad").mkdir()
    (tmp_path / "cad" / "bracket.step").write_bytes(b"ISO-10303-21; bracket")
    document = tmp_path / "frame.plmxml"
    document.write_text(DOCUMENT)
    configuration = {"DataSource": "UDMXML", "FileDataSource": document, "ConnectionIdentifier": "supplier"}
    with vqkudm.open(configuration) as supplier:
        [frame] = supplier.find("Frame")
        assert [(use.child.name, use.attributes["plmxmlexternalid"]) for use in frame.uses] == [
            ("Bracket", "o2"), ("Bracket", "o3")]
        [bracket] = supplier.find("Bracket")
        assert bracket["material"] == "steel"
        assert [file.name for file in bracket.files] == ["bracket.step"]
        assert len(supplier.query("cdef = 'UDMPart'")) == 2
