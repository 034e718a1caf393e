// The data that the page carries: one JSON element with everything of words and single numbers, and
// elements with typed arrays in base64, little-endian.

/** Bytes of a text in base64. */
export function bytesOf(text) {
  if (Uint8Array.fromBase64) return Uint8Array.fromBase64(text);
  const binary = atob(text);
  const bytes = new Uint8Array(binary.length);
  for (let i = 0; i < bytes.length; ++i) bytes[i] = binary.charCodeAt(i);
  return bytes;
}

const ARRAY_TYPES = {
  u8: Uint8Array,
  u16: Uint16Array,
  u32: Uint32Array,
  f32: Float32Array,
  f64: Float64Array,
};

/** The typed array of the element `id`; null when the page has none. Its text is given up. */
export function readArray(document, id) {
  const element = document.getElementById(id);
  if (!element) return null;
  const Type = ARRAY_TYPES[element.dataset.type];
  const array = new Type(bytesOf(element.textContent).buffer);
  element.remove();
  return array;
}

/** What is said of the page in words: see src/page/PageText.cpp. */
export function readMeta(document) {
  return JSON.parse(document.getElementById('meta').textContent);
}
