#include "store/check/stand_ins.h"

#include <algorithm>
#include <array>
#include <string>

namespace zendro::store {
namespace {

/// XML 1.0, Namespaces in XML 1.0, XML Base, xml:id.
std::string xml_schema() {
  return R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"
  targetNamespace="http://www.w3.org/XML/1998/namespace">
<xs:attribute name="lang"><xs:simpleType><xs:union memberTypes="xs:language">
  <xs:simpleType><xs:restriction base="xs:string"><xs:enumeration value=""/></xs:restriction></xs:simpleType>
</xs:union></xs:simpleType></xs:attribute>
<xs:attribute name="space"><xs:simpleType><xs:restriction base="xs:NCName">
  <xs:enumeration value="default"/><xs:enumeration value="preserve"/>
</xs:restriction></xs:simpleType></xs:attribute>
<xs:attribute name="base" type="xs:anyURI"/>
<xs:attribute name="id" type="xs:ID"/>
<xs:attributeGroup name="specialAttrs">
  <xs:attribute ref="xml:base"/><xs:attribute ref="xml:lang"/>
  <xs:attribute ref="xml:space"/><xs:attribute ref="xml:id"/>
</xs:attributeGroup>
</xs:schema>)";
}

/// XBRL 2.1, section 5.1.1.3: each simple type of XML Schema has an item type.
std::string xbrl_instance_schema() {
  constexpr std::array types = {"decimal",
                                "float",
                                "double",
                                "integer",
                                "long",
                                "int",
                                "short",
                                "byte",
                                "boolean",
                                "hexBinary",
                                "base64Binary",
                                "anyURI",
                                "QName",
                                "duration",
                                "dateTime",
                                "time",
                                "date",
                                "gYearMonth",
                                "gYear",
                                "gMonthDay",
                                "gDay",
                                "gMonth",
                                "normalizedString",
                                "token",
                                "language",
                                "Name",
                                "NCName",
                                "nonPositiveInteger",
                                "negativeInteger",
                                "nonNegativeInteger",
                                "unsignedLong",
                                "unsignedInt",
                                "unsignedShort",
                                "unsignedByte",
                                "positiveInteger",
                                "string"};
  std::string text = R"(<xs:schema xmlns:xs="http://www.w3.org/2001/XMLSchema"
  xmlns="http://www.xbrl.org/2003/instance" targetNamespace="http://www.xbrl.org/2003/instance">
<xs:element name="item" type="xs:anyType" abstract="true"/>
<xs:element name="tuple" type="xs:anyType" abstract="true"/>
<xs:attribute name="periodType" type="xs:token"/>
<xs:attribute name="balance" type="xs:token"/>
<xs:simpleType name="monetary"><xs:restriction base="xs:decimal"/></xs:simpleType>
<xs:simpleType name="shares"><xs:restriction base="xs:decimal"/></xs:simpleType>
<xs:simpleType name="pure"><xs:restriction base="xs:decimal"/></xs:simpleType>
<xs:attributeGroup name="itemAttrs">
  <xs:attribute name="id" type="xs:ID"/>
  <xs:attribute name="contextRef" type="xs:IDREF" use="required"/>
  <xs:anyAttribute namespace="##other" processContents="lax"/>
</xs:attributeGroup>
<xs:complexType name="fractionItemType"><xs:complexContent><xs:extension base="xs:anyType"/></xs:complexContent></xs:complexType>
)";
  const auto add = [&text](const std::string& name, const std::string& base) {
    text +=
        "<xs:complexType name=\"" + name + "ItemType\"><xs:simpleContent><xs:extension base=\"" +
        base + R"("><xs:attributeGroup ref="itemAttrs"/>)" +
        R"(<xs:attribute name="unitRef" type="xs:IDREF"/><xs:attribute name="precision"/>)" +
        R"(<xs:attribute name="decimals"/></xs:extension></xs:simpleContent></xs:complexType>)" +
        "\n";
  };
  for (const char* type : types) add(type, std::string("xs:") + type);
  for (const char* type : {"monetary", "shares", "pure"}) add(type, type);
  return text + "</xs:schema>";
}

struct StandIn {
  std::string_view xml_namespace;
  std::string_view url;
  std::string text;
};

const std::array<StandIn, 2>& stand_ins() {
  static const std::array<StandIn, 2> all = {
      {{"http://www.w3.org/XML/1998/namespace", "zendro://builtin/xml.xsd", xml_schema()},
       {"http://www.xbrl.org/2003/instance", "zendro://builtin/xbrl-instance.xsd",
        xbrl_instance_schema()}}};
  return all;
}

}  // namespace

std::string_view stand_in_for(std::string_view xml_namespace) {
  const auto& all = stand_ins();
  const auto found = std::find_if(all.begin(), all.end(), [xml_namespace](const StandIn& one) {
    return one.xml_namespace == xml_namespace;
  });
  return found == all.end() ? std::string_view() : found->url;
}

std::string_view stand_in_at(std::string_view url) {
  const auto& all = stand_ins();
  const auto found =
      std::find_if(all.begin(), all.end(), [url](const StandIn& one) { return one.url == url; });
  return found == all.end() ? std::string_view() : std::string_view(found->text);
}

}  // namespace zendro::store
