// Talks to the server. Addresses are relative to the page's own, which carries the token.

import {asSentence} from './dom.js';

// What the server refused, with its sentence.
export class Refusal extends Error {
  constructor(sentence, status) {
    super(asSentence(sentence));
    this.status = status;
  }
}

// The server does not answer at all.
export class Lost extends Error {
  constructor() {
    super('The server does not answer. Start “kalvetra preview” again and open the address that it prints.');
  }
}

async function ask(path, options = {}) {
  let answer;
  try {
    answer = await fetch(`api/${path}`, {cache: 'no-store', ...options});
  } catch (error) {
    throw error.name === 'AbortError' ? error : new Lost();
  }
  if (!answer.ok) throw await refusalOf(answer);
  return answer;
}

async function refusalOf(answer) {
  const text = await answer.text();
  try {
    return new Refusal(JSON.parse(text).error, answer.status);
  } catch {
    return new Refusal(text || `The server refused this (${answer.status}).`, answer.status);
  }
}

const asJson = (method, body, signal) =>
  ({method, body: JSON.stringify(body), signal, headers: {'Content-Type': 'application/json'}});

export const get = async (path) => (await ask(path)).json();
export const post = async (path, body, signal) => (await ask(path, asJson('POST', body, signal))).json();
export const postForText = async (path, body) => (await ask(path, asJson('POST', body))).text();
export const sendText = async (path, text) =>
  (await ask(path, {method: 'POST', body: text, headers: {'Content-Type': 'text/plain'}})).json();
export const remove = (path) => ask(path, {method: 'DELETE'});

// A picture: its bytes are red, green, blue, alpha, straight, in packed rows. `scale` is how much smaller it is than
// the frame; `status` the status view's counts, or null.
async function pictureOf(answer) {
  const number = (name) => Number(answer.headers.get(name));
  const status = answer.headers.get('X-Status');
  return {
    width: number('X-Width'),
    height: number('X-Height'),
    scale: number('X-Scale') || 1,
    status: status ? JSON.parse(status) : null,
    bytes: new Uint8ClampedArray(await answer.arrayBuffer()),
  };
}

export const picture = async (request, signal) => pictureOf(await ask('picture', asJson('POST', request, signal)));
export const thumbnail = async (frame, height) => pictureOf(await ask(`thumbnail?frame=${frame}&height=${height}`));
