const MOST_POSTS = 1000;
const PATIENCE_MS = 2000;

/**
 * The POSTs that the server keeps, the oldest first, as it tells of them. Events: "change"; "restart" when they are
 * those of another run of the server; "state". It comes back whenever the server does.
 */
export class Feed extends EventTarget {
  constructor(url) {
    super();
    this.url = url;
    this.posts = [];
    this.isLive = false;
    this.connect();
  }

  connect() {
    const newest = this.posts.at(-1)?.id;
    const source = new EventSource(newest === undefined ? this.url : `${this.url}?after=${newest}`);
    source.addEventListener("open", () => this.setLive(true));
    source.addEventListener("post", ({ data }) => this.add(JSON.parse(data)));
    source.addEventListener("gone", ({ data }) => this.forget(JSON.parse(data).before));
    source.addEventListener("error", () => {
      this.setLive(false);
      // Otherwise the browser comes back by itself.
      if (source.readyState === EventSource.CLOSED) setTimeout(() => this.connect(), PATIENCE_MS);
    });
  }

  setLive(isLive) {
    this.isLive = isLive;
    this.dispatchEvent(new Event("state"));
  }

  add(post) {
    if (this.posts.length && post.id <= this.posts.at(-1).id) {
      this.posts = [];
      this.dispatchEvent(new Event("restart"));
    }
    this.posts.push(post);
    if (this.posts.length > MOST_POSTS) this.posts.shift();
    this.dispatchEvent(new Event("change"));
  }

  forget(before) {
    this.posts = this.posts.filter(({ id }) => id >= before);
    this.dispatchEvent(new Event("change"));
  }
}
