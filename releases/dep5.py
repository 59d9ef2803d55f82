"""What Debian's copyright files say, in the format that machines read
(https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/)."""
import re


class Licence:
    """`name` is the licence of the work as a whole in Debian's words, `others` are names that single files have besides,
    `texts` is the text behind each name."""

    def __init__(self, name, others, texts):
        self.name, self.others, self.texts = name, others, texts


def paragraphs(text):
    for block in re.split(r"\n[ \t]*\n", text.strip()):
        fields, field = {}, None
        for line in block.split("\n"):
            if line[:1] in (" ", "\t"):
                if field:
                    fields[field] += "\n" + ("" if line.strip() == "." else line[1:])
            elif ":" in line and not line.startswith("#"):
                field, _, value = line.partition(":")
                field = field.lower()
                fields[field] = value.strip()
        yield fields


def read(text):
    """The licence that a copyright file tells; None where it is not of this format."""
    header, *rest = paragraphs(text)
    if "copyright-format" not in header.get("format", ""):
        return None
    names, texts, whole = [], {}, ""
    for paragraph in [header] + rest:
        name, _, body = paragraph.get("license", "").partition("\n")
        if not name:
            continue
        if body.strip():
            texts.setdefault(name, body.strip("\n"))
        if paragraph is header or "files" in paragraph:
            names.append(name)
        if not whole and (paragraph is header or paragraph.get("files", "").split()[:1] == ["*"]):
            whole = name
    return Licence(whole, sorted(set(names) - {whole}), texts) if whole else None
