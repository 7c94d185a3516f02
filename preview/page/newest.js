// Newest wins: at most one question is under way; of those asked meanwhile only the last is asked next.

export class Newest {
  #ask;
  #take;
  #fail;
  #waiting = null;
  #underWay = null;  // {question, stop}

  // `ask(question, signal)` promises an answer, which `take(answer, question)` gets; `fail(error)` what went wrong.
  constructor({ask, take, fail}) {
    this.#ask = ask;
    this.#take = take;
    this.#fail = fail;
  }

  // Asks, or waits for the question under way. That one is given up first if `giveUp(question)` says so.
  want(question, giveUp = () => false) {
    this.#waiting = question;
    if (!this.#underWay) this.#next();
    else if (giveUp(this.#underWay.question)) this.#underWay.stop.abort();
  }

  // Forgets what waits.
  forget() { this.#waiting = null; }

  async #next() {
    while (this.#waiting) {
      const question = this.#waiting;
      const stop = new AbortController();
      this.#waiting = null;
      this.#underWay = {question, stop};
      try {
        this.#take(await this.#ask(question, stop.signal), question);
      } catch (error) {
        if (error.name !== 'AbortError') this.#fail(error);
      }
      this.#underWay = null;
    }
  }
}
