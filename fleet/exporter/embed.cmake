# cmake -DOUT=x.cpp -DDIR=page -P embed.cmake: a source with the bytes of the page's files.
set(text "#include \"fleet/exporter/pageFiles.h\"\n\nnamespace Fleet::PageFiles {\n")
foreach(pair IN ITEMS "kIndexHtml|index.html" "kPageCss|page.css" "kPageJs|page.js")
  string(REPLACE "|" ";" pair ${pair})
  list(GET pair 0 name)
  list(GET pair 1 file)
  file(READ ${DIR}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND text "static constexpr char ${name}Bytes[] = {${bytes}'\\0'};\n"
    "const std::string_view ${name}(${name}Bytes, sizeof ${name}Bytes - 1);\n")
endforeach()
file(WRITE ${OUT} "${text}}\n")
