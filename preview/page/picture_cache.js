// The last full-size pictures, so that flipping A/B or views is instant. The server gives the same bytes for the same
// request, so nothing here grows old.

const kMostBytes = 200e6;

export class PictureCache {
  #pictures = new Map();  // oldest first
  #bytes = 0;

  get(key) {
    const picture = this.#pictures.get(key);
    if (!picture) return null;
    this.#pictures.delete(key);
    this.#pictures.set(key, picture);
    return picture;
  }

  add(key, picture) {
    if (this.#pictures.has(key)) return;
    this.#pictures.set(key, picture);
    this.#bytes += picture.bytes.length;
    for (const [oldest, {bytes}] of this.#pictures) {
      if (this.#bytes <= kMostBytes || oldest === key) return;
      this.#pictures.delete(oldest);
      this.#bytes -= bytes.length;
    }
  }
}
