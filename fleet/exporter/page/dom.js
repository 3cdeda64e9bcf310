// What the rest writes to the document with. Everything that comes from the exporter is put in as text, never as HTML:
// most of it is written by guests.

export const $ = (id) => document.getElementById(id);

export function make(tag, className, text, ...children) {
  const node = document.createElement(tag);
  if (className) node.className = className;
  if (text !== undefined) node.textContent = text;
  node.append(...children);
  return node;
}

// Writes to the document only what has changed: a table of hundreds of rows comes each two seconds.
export function setText(node, text) {
  if (node.textContent !== text) node.textContent = text;
}
