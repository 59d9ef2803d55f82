#include "pkg/local/how_to.h"

#include <string_view>

#include "framework/system/files.h"

namespace zendro::pkg::local {
namespace {

// {uri} is the file: URL of the folder with a slash at its end, {path} its path.
constexpr std::string_view kText = R"(How XML tools find what is installed
====================================

This folder is kept in step with what the package manager has installed. Do not change anything in
it. The lines below are ready to be copied.

    catalog.xml      locations, public identifiers and mappings of all packages
    namespaces.xml   names of namespaces, for tools that look a schema up by its namespace
    <package>/files  the files of a package, archives unpacked
    zips             XBRL taxonomy packages

xmllint, xsltproc, lxml and all that uses libxml2
    export XML_CATALOG_FILES="{uri}catalog.xml {uri}namespaces.xml"
    xmllint --nonet --noout --valid document.xml
    xmllint --nonet --noout --schema "<location or namespace>" document.xml

The same for all users of a machine with /etc/xml/catalog (as root)
    xmlcatalog --noout --add nextCatalog "" "{uri}catalog.xml" /etc/xml/catalog
    xmlcatalog --noout --add nextCatalog "" "{uri}namespaces.xml" /etc/xml/catalog

Java, without a change to a program
    java "-Djavax.xml.catalog.files={uri}catalog.xml" -Djavax.xml.catalog.resolve=continue ...

Saxon
    java -cp saxon.jar net.sf.saxon.Transform "-catalog:{uri}catalog.xml;{uri}namespaces.xml" ...

Visual Studio Code, in settings.json, with the extension for XML
    "xml.catalogs": ["{uri}catalog.xml", "{uri}namespaces.xml"]

Arelle, for each taxonomy package
    arelleCmdLine --packages "{path}zips/<package>.zip" --file report.xbrl

Visual Studio, in a catalog of its own among its XML schemas, a line for each schema
    <SchemaCatalog xmlns="http://schemas.microsoft.com/xsd/catalog">
      <Schema href="{uri}<package>/files/<path of the schema>" targetNamespace="<its namespace>" />
    </SchemaCatalog>
)";

void fill(std::string& text, std::string_view name, std::string_view value) {
  for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos; at += value.size()) {
    text.replace(at, name.size(), value);
  }
}

}  // namespace

std::string how_to(const std::filesystem::path& local) {
  std::string text(kText);
  const std::string path = framework::path_to_utf8(local / std::filesystem::path());
  fill(text, "{uri}", framework::file_url(local / std::filesystem::path()));
  fill(text, "{path}", path);
  return text;
}

}  // namespace zendro::pkg::local
