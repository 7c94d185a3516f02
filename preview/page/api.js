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

// Asks, and reads the answer's body with `read`.
async function ask(path, options, read) {
  try {
    const answer = await fetch(`api/${path}`, {cache: 'no-store', ...options});
    if (!answer.ok) throw await refusalOf(answer);
    return await read(answer);
  } catch (error) {
    throw error instanceof TypeError ? new Lost() : error;  // what fetch throws when a connection fails or ends
  }
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

const json = (answer) => answer.json();

export const get = (path) => ask(path, {}, json);
export const post = (path, body, signal) => ask(path, asJson('POST', body, signal), json);
export const postForText = (path, body) => ask(path, asJson('POST', body), (answer) => answer.text());
export const sendText = (path, text) =>
  ask(path, {method: 'POST', body: text, headers: {'Content-Type': 'text/plain'}}, json);
export const remove = (path) => ask(path, {method: 'DELETE'}, json);

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

export const picture = (request, signal) => ask('picture', asJson('POST', request, signal), pictureOf);
export const thumbnail = (frame, height) => ask(`thumbnail?frame=${frame}&height=${height}`, {}, pictureOf);
