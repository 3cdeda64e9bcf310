# cmake -DOUT=x.cpp -DDIR=page "-DFILES=a|b" -P embed.cmake: a source with the bytes of the page's files.
string(REPLACE "|" ";" FILES "${FILES}")
set(table "")
set(text "#include \"fleet/exporter/pageFiles.h\"\n\nnamespace Fleet {\nnamespace {\n\n")
set(number 0)
foreach(file IN LISTS FILES)
  file(READ ${DIR}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(APPEND text "constexpr char kFile${number}[] = {${bytes}'\\0'};\n")
  string(APPEND table "    {\"${file}\", {kFile${number}, sizeof kFile${number} - 1}},\n")
  math(EXPR number "${number} + 1")
endforeach()
file(WRITE ${OUT} "${text}
constexpr PageFile kFiles[] = {
${table}};

}  // namespace

std::span<const PageFile> PageFiles() { return kFiles; }

}  // namespace Fleet
")
