(: Reads each document, validating it where Saxon is told to, and finds the schema of its root element. Each line of
   $tasks is the document's URI, a tab, and a location or namespace of its schema, or nothing. One line for each
   document: the complaint about it, and empty for a good one. :)
declare namespace xs = "http://www.w3.org/2001/XMLSchema";
declare namespace output = "http://www.w3.org/2010/xslt-xquery-serialization";
declare option output:method "text";
declare option output:item-separator "";
declare variable $tasks external;

declare function local:complaint($document, $schema) {
  try {
    let $namespace := namespace-uri(doc($document)/*)
    return
      if (string-length(doc($document)) = 0) then
        "an empty document"
      else if ($schema != "" and not(doc($schema)/xs:schema[@targetNamespace = $namespace])) then
        "another schema"
      else
        ""
  } catch * {
    normalize-space($err:description)
  }
};

for $line in tokenize($tasks, "\n")
let $parts := tokenize($line, "\t")
return local:complaint($parts[1], string($parts[2])) || "&#10;"
