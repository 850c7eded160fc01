/* tessellan.js - shared helper for layout scripts, served as /json/tessellan.js.
 *
 * Tessellan.parseReply(text) turns the body of any /json/ command into a value without
 * evaluating it: an empty body (a missing variable) gives null, the parentheses around the
 * getpicinfo object are dropped, and a backslash the server passed through from library text
 * is kept literally unless it starts a \uXXXX escape (the only escape the server writes).
 */
var Tessellan = Tessellan || {};
Tessellan.parseReply = function (text) {
  var body = String(text).trim();
  if (!body) return null;
  if (body.charAt(0) === '(' && body.charAt(body.length - 1) === ')') body = body.slice(1, -1);
  return JSON.parse(body.replace(/\\(?!u[0-9a-fA-F]{4})/g, '\\\\'));
};
