// The floor for realtime delivery over HTTP: no storage, no paths, no JSON handling. A GET that
// accepts text/event-stream joins the audience; a POST's body goes out to everyone as one
// `data:` event, then the POST is answered. What tailwise-server does on top of this (parsing,
// the tree, the journal's fsync) is what the fan-out bench prices.
//
//   node sse-broadcaster.js [PORT]      (PORT 0 or absent: a free one)
//
// Listens on 127.0.0.1 only and prints "sse-broadcaster listening on http://127.0.0.1:PORT".
'use strict';
const http = require('http');

const clients = new Set();
const maxBody = 1024 * 1024;

const server = http.createServer((req, res) => {
    if (req.method === 'GET' && (req.headers.accept || '').includes('text/event-stream')) {
        req.socket.setNoDelay(true);
        res.writeHead(200, {'Content-Type': 'text/event-stream', 'Cache-Control': 'no-cache'});
        // Sent once the client is in the audience, so it knows every later POST reaches it.
        res.write(': connected\n\n');
        clients.add(res);
        res.on('close', () => clients.delete(res));
        return;
    }
    if (req.method !== 'POST') {
        res.writeHead(405).end();
        return;
    }
    const parts = [];
    let size = 0;
    req.on('data', (part) => {
        size += part.length;
        if (size > maxBody) {
            res.writeHead(413).end();
            req.destroy();
            return;
        }
        parts.push(part);
    });
    req.on('end', () => {
        if (size > maxBody)
            return;
        // Events are single lines; a body with line breaks would split into several fields.
        const body = Buffer.concat(parts).toString('utf8').replace(/[\r\n]+/g, ' ');
        const event = 'data: ' + body + '\n\n';
        for (const client of clients)
            client.write(event);
        res.writeHead(200, {'Content-Type': 'application/json'});
        res.end(JSON.stringify({receivers: clients.size}));
    });
});

// Streams stay open as long as the bench runs; only idle request heads time out.
server.requestTimeout = 0;
server.listen(Number(process.argv[2] || 0), '127.0.0.1', () => {
    console.log('sse-broadcaster listening on http://127.0.0.1:' + server.address().port);
});
for (const signal of ['SIGINT', 'SIGTERM']) {
    process.on(signal, () => {
        for (const client of clients)
            client.destroy();
        server.close(() => process.exit(0));
        setTimeout(() => process.exit(0), 1000).unref();
    });
}
