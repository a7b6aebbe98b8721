// The server's API. The page sits at /TOKEN/, so every path here is relative to it and carries
// the token without naming it.

export class ApiError extends Error {
  constructor(status, body) {
    super(body.error || `the server answered ${status}`);
    this.status = status;
    this.path = body.path || '';
    this.body = body;
  }
}

async function call(method, path, body, signal) {
  const init = {method, headers: {}, signal};
  if (body !== undefined) {
    init.headers['Content-Type'] = 'application/json';
    init.body = JSON.stringify(body);
  }
  const res = await fetch(path, init);
  const type = res.headers.get('Content-Type') || '';
  if (!res.ok) {
    const answer = type.startsWith('application/json') ? await res.json()
                                                       : {error: await res.text()};
    throw new ApiError(res.status, answer);
  }
  return type.startsWith('application/json') ? res.json() : res;
}

export const api = {
  effects: () => call('GET', 'api/effects'),
  state: (time) => call('GET', `api/state?time=${time}`),
  documentText: () => call('GET', 'api/document'),
  replaceText: (text) => call('PUT', 'api/document', {text}),
  edit: (op) => call('POST', 'api/edit', op),
  undo: () => call('POST', 'api/undo', {}),
  redo: () => call('POST', 'api/redo', {}),
  save: (path) => call('POST', 'api/save', path ? {path} : {}),
  exportSvg: (request) => call('POST', 'api/export-svg', request),
  files: (dir) => call('GET', `api/files?dir=${encodeURIComponent(dir || '')}`),
  // The frame as a Response (image/png), or an ApiError; 409 when the version went old.
  frame: (q, signal) => call('GET',
      `api/frame?version=${q.version}&comp=${q.comp}&frame=${q.frame}&scale=${q.scale}`,
      undefined, signal),
};
