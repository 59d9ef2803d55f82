import java.io.BufferedReader;
import java.io.IOException;
import java.io.InputStreamReader;
import java.net.URI;
import java.nio.charset.StandardCharsets;
import java.nio.file.Path;
import java.util.Arrays;
import javax.xml.XMLConstants;
import javax.xml.catalog.CatalogFeatures;
import javax.xml.catalog.CatalogManager;
import javax.xml.catalog.CatalogResolver;
import javax.xml.parsers.DocumentBuilderFactory;
import javax.xml.parsers.SAXParserFactory;
import javax.xml.transform.stream.StreamSource;
import javax.xml.validation.SchemaFactory;
import javax.xml.validation.Validator;
import org.apache.xerces.util.XMLCatalogResolver;
import org.w3c.dom.ls.DOMImplementationLS;
import org.w3c.dom.ls.LSInput;
import org.w3c.dom.ls.LSResourceResolver;
import org.xml.sax.EntityResolver;
import org.xml.sax.InputSource;
import org.xml.sax.SAXException;
import org.xml.sax.SAXParseException;
import org.xml.sax.XMLReader;
import org.xml.sax.helpers.DefaultHandler;

/**
 * Validates documents in one of the ways in which Java programs are pointed at catalogs:
 *   java [-Djavax.xml.catalog.files=CATALOG -Djavax.xml.catalog.resolve=continue] Validate WAY [CATALOG NAMESPACES]
 * WAY is jdk-property, jdk-resolver, xerces or commons-resolver; CATALOG and NAMESPACES are URIs of the
 * two catalogs, or left out. Each line of the input is a file, a tab, and a location or namespace of
 * its schema, or nothing when the document names its type itself. Each line of the output is the first
 * complaint about the document, and empty for a valid one.
 */
final class Validate {
  /** A way: finds the schema that a text stands for, and validates with what the catalogs say. */
  interface Way {
    String schemaFor(String key) throws Exception;

    void validate(InputSource document, String schema) throws Exception;
  }

  /** Throws the first error. */
  private static final class Strict extends DefaultHandler {
    @Override
    public void error(SAXParseException error) throws SAXException {
      throw error;
    }
  }

  private static void parse(InputSource document, EntityResolver resolver) throws Exception {
    SAXParserFactory factory = SAXParserFactory.newDefaultInstance();
    factory.setValidating(true);
    factory.setNamespaceAware(true);
    XMLReader reader = factory.newSAXParser().getXMLReader();
    reader.setErrorHandler(new Strict());
    if (resolver != null) {
      reader.setEntityResolver(resolver);
    }
    reader.parse(document);
  }

  private static String absolute(String systemId, String base) {
    return systemId == null || base == null ? systemId : URI.create(base).resolve(systemId).toString();
  }

  private static void check(InputSource document, String schema, LSResourceResolver resolver) throws Exception {
    SchemaFactory factory = SchemaFactory.newDefaultInstance();
    factory.setErrorHandler(new Strict());
    factory.setResourceResolver(resolver);
    Validator validator = factory.newSchema(new StreamSource(schema)).newValidator();
    validator.setErrorHandler(new Strict());
    validator.validate(new StreamSource(document.getSystemId()));
  }

  /** The JDK's own catalogs: by the system property, or by a resolver of the program's. */
  private static final class Jdk implements Way {
    private final CatalogResolver names;
    private final CatalogResolver resolver;

    Jdk(String[] catalogs, boolean byProperty) {
      names = catalogs.length == 0 ? null : resolverOf("strict", catalogs);
      resolver = catalogs.length == 0 || byProperty ? null : resolverOf("continue", catalogs[0]);
    }

    private static CatalogResolver resolverOf(String unknown, String... catalogs) {
      CatalogFeatures features =
          CatalogFeatures.builder().with(CatalogFeatures.Feature.RESOLVE, unknown).build();
      return CatalogManager.catalogResolver(features, Arrays.stream(catalogs).map(URI::create).toArray(URI[]::new));
    }

    @Override
    public String schemaFor(String key) {
      return names == null ? key : names.resolve(key, null).getSystemId();
    }

    @Override
    public void validate(InputSource document, String schema) throws Exception {
      if (schema == null) {
        parse(document, resolver);
      } else if (resolver == null) {
        check(document, schema, null);
      } else {
        // It looks up what it is given, and an import may name no location at all.
        check(document, schema, (type, namespace, publicId, systemId, base) -> systemId == null
            ? null
            : resolver.resolveResource(type, namespace, publicId, absolute(systemId, base), base));
      }
    }
  }

  /** Xerces with its own resolver, which is asked for everything. */
  private static final class Xerces implements Way {
    private final XMLCatalogResolver names;
    private final XMLCatalogResolver resolver;

    Xerces(String[] catalogs) {
      names = new XMLCatalogResolver(catalogs);
      resolver = new XMLCatalogResolver(catalogs.length > 0 ? new String[] {catalogs[0]} : catalogs);
      // What a document asks for relative to itself is looked up as well.
      resolver.setUseLiteralSystemId(false);
    }

    @Override
    public String schemaFor(String key) throws IOException {
      String found = names.resolveURI(key);
      return found == null ? key : found;
    }

    @Override
    public void validate(InputSource document, String schema) throws Exception {
      XMLReader reader = new org.apache.xerces.parsers.SAXParser();
      reader.setFeature("http://xml.org/sax/features/validation", true);
      reader.setErrorHandler(new Strict());
      reader.setProperty("http://apache.org/xml/properties/internal/entity-resolver", resolver);
      if (schema != null) {
        reader.setFeature("http://apache.org/xml/features/validation/schema", true);
        reader.setProperty("http://java.sun.com/xml/jaxp/properties/schemaLanguage",
            XMLConstants.W3C_XML_SCHEMA_NS_URI);
        reader.setProperty("http://java.sun.com/xml/jaxp/properties/schemaSource", schema);
      }
      reader.parse(document);
    }
  }

  /** The JDK's parser with the resolver of xml-commons. */
  private static final class Commons implements Way {
    private final org.apache.xml.resolver.tools.CatalogResolver resolver;
    private final org.apache.xml.resolver.tools.CatalogResolver names;
    private final DOMImplementationLS inputs;

    Commons(String[] catalogs) throws Exception {
      inputs = (DOMImplementationLS) DocumentBuilderFactory.newDefaultInstance().newDocumentBuilder()
          .getDOMImplementation();
      resolver = of(catalogs.length > 0 ? new String[] {catalogs[0]} : catalogs);
      names = of(catalogs);
    }

    private static org.apache.xml.resolver.tools.CatalogResolver of(String[] catalogs) throws IOException {
      var manager = new org.apache.xml.resolver.CatalogManager();
      manager.setIgnoreMissingProperties(true);
      manager.setUseStaticCatalog(false);
      manager.setCatalogFiles("");
      manager.setVerbosity(0);
      var resolver = new org.apache.xml.resolver.tools.CatalogResolver(manager);
      for (String catalog : catalogs) {
        resolver.getCatalog().parseCatalog(catalog);
      }
      return resolver;
    }

    @Override
    public String schemaFor(String key) throws IOException {
      String found = names.getCatalog().resolveURI(key);
      return found == null ? key : found;
    }

    @Override
    public void validate(InputSource document, String schema) throws Exception {
      if (schema == null) {
        parse(document, resolver);
      } else {
        check(document, schema, (type, namespace, publicId, systemId, base) -> {
          InputSource found = resolver.resolveEntity(publicId, absolute(systemId, base));
          if (found == null) {
            return null;
          }
          LSInput input = inputs.createLSInput();
          input.setPublicId(publicId);
          input.setSystemId(found.getSystemId());
          return input;
        });
      }
    }
  }

  private static String firstComplaint(Way way, String line) {
    String[] parts = line.split("\t", 2);
    try {
      String document = Path.of(parts[0]).toUri().toString();
      way.validate(new InputSource(document), parts[1].isEmpty() ? null : way.schemaFor(parts[1]));
      return "";
    } catch (Exception complaint) {
      return String.valueOf(complaint).replaceAll("\\s+", " ");
    }
  }

  public static void main(String[] arguments) throws Exception {
    String[] catalogs = Arrays.copyOfRange(arguments, 1, arguments.length);
    Way way = switch (arguments[0]) {
      case "jdk-property" -> new Jdk(catalogs, true);
      case "jdk-resolver" -> new Jdk(catalogs, false);
      case "xerces" -> new Xerces(catalogs);
      case "commons-resolver" -> new Commons(catalogs);
      default -> throw new IllegalArgumentException(arguments[0]);
    };
    var lines = new BufferedReader(new InputStreamReader(System.in, StandardCharsets.UTF_8)).lines().toList();
    for (String line : lines) {
      System.out.println(firstComplaint(way, line));
    }
  }
}
