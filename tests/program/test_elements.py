"""The tables of the tests and those of the program, which are stated independently, agree."""

# ctest: native

import elements
import pytest
import records

VERSIONS = pytest.mark.parametrize("version", [1, 2])
ENCODINGS = {
    elements.mac: "bytes",
    elements.date: "date",
    elements.hexadecimal: "number",
    elements.decimal: "number",
    elements.text: "text",
}


def test_the_elements_are_those_of_the_menu_in_its_order(facts):
    assert facts["entries"] == [
        {"name": element.name, "option": element.option, "kind": element.kind}
        for element in elements.ELEMENTS
    ]


def test_the_special_words_are_those_of_the_command_line(facts):
    assert facts["special_words"] == elements.SPECIAL


@VERSIONS
def test_the_fields_are_those_of_the_layout(facts, version):
    layout = facts["versions"][str(version)]
    assert (layout["size"], layout["crc_position"]) == (
        records.SIZE[version],
        records.CRC_POSITION[version],
    )
    found = {field["name"]: field for field in layout["fields"]}
    at = {(field["position"], field["length"]): field["encoding"] for field in found.values()}
    for element in elements.ELEMENTS:
        if element.show in ENCODINGS:
            assert at[element.field(version)] == ENCODINGS[element.show], element.name
    for name, positions, data in elements.FIELDS_WITHOUT_ELEMENT:
        field = found.get(name)
        expected = (positions[version], len(data)) if version in positions else None
        assert (field and (field["position"], field["length"])) == expected, name


@VERSIONS
def test_formatting_writes_what_the_golden_record_holds(version):
    for field, data, _ in elements.formatting(version):
        assert field.of(records.formatted(version)) == data.ljust(field.length, b"\0")


@pytest.mark.parametrize("element", elements.VALUES, ids=lambda element: element.name)
def test_the_sample_of_an_element_differs_from_its_formatted_value(element):
    assert element.stored != element.formatted
    assert element.refused is None or element.refused != element.typed
