// npm's smtp-server, storing each message in a file of its own.
//
//     node smtp_server_files.js PORT DIRECTORY
'use strict';
const fs = require('fs');
const path = require('path');
const { createRequire } = require('module');
const { SMTPServer } = createRequire(path.join(process.cwd(), 'index.js'))('smtp-server');

const [port, directory] = process.argv.slice(2);
let stored = 0;

const server = new SMTPServer({
    authOptional: true,
    disabledCommands: ['STARTTLS', 'AUTH'],
    disableReverseLookup: true,
    logger: false,
    onData(stream, session, done) {
        const file = fs.createWriteStream(path.join(directory, `${++stored}.eml`));
        file.on('error', done);
        file.on('finish', () => done());
        stream.pipe(file);
    },
});
server.on('error', (error) => process.stderr.write(`${error.message}\n`));
server.listen(Number(port), '127.0.0.1');
