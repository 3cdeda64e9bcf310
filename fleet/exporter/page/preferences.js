// All that is in the browser's storage: the theme and whether the shortcuts work.

export function recall(key) {
  try {
    return localStorage.getItem(key);
  } catch {
    return null;
  }
}

export function remember(key, value) {
  try {
    localStorage.setItem(key, value);
  } catch {
    // A browser that keeps nothing forgets it, and no more.
  }
}
